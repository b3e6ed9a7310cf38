// A build without the Linux backends: real modules cannot be opened.
#include "source.h"

namespace sfpctl {

std::unique_ptr<ModuleSource> open_linux_source(const SourceSpec &spec,
                                                const SourceSettings & /*settings*/,
                                                std::string &error, sfp_rc & /*status*/) {
  error = spec.label() + ": cannot open: this sfpctl is built without the Linux backends";
  return nullptr;
}

} // namespace sfpctl
