// read: a hex dump of module memory read through sfp_port_read, or of
// adapter memory through qsa_port_read with --qsa. A module the library
// refused has no port: its memory is read as the bus gives it.
#include <cstdio>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "hex_dump.h"
#include "module_bytes.h"
#include "number_arg.h"
#include "session.h"

namespace sfpctl {
namespace {

class ReadCommand : public Command {
public:
  std::string_view name() const override { return "read"; }
  std::string_view summary() const override {
    return "Read module memory and print it as a hex dump";
  }

  PortUse port_use() const override { return PortUse::Optional; }
  bool shows_refused_module() const override { return true; }

  void add_arguments(CLI::App &sub) override {
    add_page_and_offset(sub, page_, offset_);
    sub.add_option("LENGTH", length_, "Number of bytes to read")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(1, 256));
  }

  int run(Session &session) override {
    if (!page_for_port(session.adapter() != nullptr, page_, "read")) {
      return kExitUsage;
    }
    const bool refused = refused_module(session) != nullptr;
    if (!refused && session.port() == nullptr && session.adapter_port() == nullptr) {
      return kExitFailure;
    }
    std::vector<uint8_t> bytes(length_);
    const sfp_rc rc = session.checked("read", [&] {
      if (refused) {
        return static_cast<sfp_rc>(session.read_module(
            static_cast<uint8_t>(page_), static_cast<uint8_t>(offset_), length_, bytes.data()));
      }
      if (session.adapter() != nullptr) {
        return qsa_port_read(session.adapter_port(), offset_, page_, length_, bytes.data());
      }
      return sfp_port_read(session.port(), offset_, page_, length_, bytes.data());
    });
    if (rc != SFP_RC_OK) {
      return kExitFailure;
    }
    std::fputs(hex_dump(bytes, offset_).c_str(), stdout);
    return kExitOk;
  }

private:
  uint32_t page_ = 0;
  uint32_t offset_ = 0;
  uint32_t length_ = 0;
};

} // namespace

std::unique_ptr<Command> make_read_command() {
  return std::make_unique<ReadCommand>();
}

} // namespace sfpctl
