// write: writes bytes to module memory through sfp_port_write, or to adapter
// memory through qsa_port_write with --qsa.
#include <cstdio>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "number_arg.h"
#include "session.h"

namespace sfpctl {
namespace {

class WriteCommand : public Command {
public:
  std::string_view name() const override { return "write"; }
  std::string_view summary() const override { return "Write bytes to module memory"; }

  void add_arguments(CLI::App &sub) override {
    add_page_and_offset(sub, page_, offset_);
    sub.add_option("BYTES", bytes_, "The bytes to write, each 0..255")
        ->required()
        ->type_name("NUM")
        ->transform(number_in(0, 255));
  }

  int run(Session &session) override {
    if (!page_for_port(session.adapter() != nullptr, page_, "write")) {
      return kExitUsage;
    }
    std::vector<uint8_t> data;
    data.reserve(bytes_.size());
    for (const uint32_t value : bytes_) {
      data.push_back(static_cast<uint8_t>(value));
    }
    const auto length = static_cast<uint32_t>(data.size());
    const sfp_rc rc = session.checked("write", [&] {
      if (session.adapter() != nullptr) {
        return qsa_port_write(session.adapter_port(), offset_, page_, length, data.data());
      }
      return sfp_port_write(session.port(), offset_, page_, length, data.data());
    });
    if (rc != SFP_RC_OK) {
      return kExitFailure;
    }
    std::printf(session.adapter() != nullptr ? "wrote %u %s at page 0x%X offset 0x%02x\n"
                                             : "wrote %u %s at page %u offset 0x%02x\n",
                length, length == 1 ? "byte" : "bytes", page_, offset_);
    return kExitOk;
  }

  std::string planned_change() const override {
    return "write " + std::to_string(bytes_.size()) + (bytes_.size() == 1 ? " byte" : " bytes") +
           " at page " + std::to_string(page_) + " offset " + std::to_string(offset_);
  }

private:
  uint32_t page_ = 0;
  uint32_t offset_ = 0;
  std::vector<uint32_t> bytes_;
};

} // namespace

std::unique_ptr<Command> make_write_command() {
  return std::make_unique<WriteCommand>();
}

} // namespace sfpctl
