#include "session.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <optional>
#include <system_error>

#include "platform/pelog.h"
#include "platform/psleep.h"
#include "status_text.h"
#include "terminal_text.h"

namespace sfpctl {
namespace {

// The module's controller and port numbers.
constexpr int32_t kController = 0;
constexpr int32_t kPort = 1;

// Records written to the buffer so far, including the ones a full buffer
// dropped, so that a new record is noticed even then.
uint64_t records_written(pelog_hdl buffer) {
  return buffer == nullptr ? 0 : pelog_count(buffer) + pelog_dropped(buffer);
}

// The text of the buffer's newest record on one line.
std::string last_record(pelog_hdl buffer) {
  std::string text;
  pelog_for_each(
      buffer,
      [](void *ctx, uint32_t, const char *, const char *record) {
        *static_cast<std::string *>(ctx) = record == nullptr ? "" : record;
      },
      &text);
  std::replace(text.begin(), text.end(), '\n', ' ');
  const std::size_t end = text.find_last_not_of(' ');
  text.erase(end == std::string::npos ? 0 : end + 1);
  return text;
}

// The context the library registered for `opaque`, if any.
sfp_port_ctx *registered_port(const void *opaque) {
  for (sfp_port_ctx *port = sfp_get_ctx()->ports; port != nullptr; port = port->next) {
    if (port->opaque == opaque) {
      return port;
    }
  }
  return nullptr;
}

// The adapter context the library registered for `opaque`, if any.
qsa_port_ctx *registered_adapter_port(const void *opaque) {
  for (qsa_port_ctx *port = qsa_get_ctx()->ports; port != nullptr; port = port->next) {
    if (port->opaque == opaque) {
      return port;
    }
  }
  return nullptr;
}

// The phases of the insertion notifications, oldest first. The library
// calls the notification on the polling thread, inside the poll.
std::vector<uint32_t> g_notifications;

int record_notification(void * /*opaque*/, uint32_t phase) {
  g_notifications.push_back(phase);
  return 0;
}

// Called by the platform clock before each wait of a run without --fast: the
// note on a long wait comes before the wait that takes the run past one
// second, while the module is being waited for.
void note_long_wait(void *ctx, uint32_t ms) {
  uint64_t &waited = *static_cast<uint64_t *>(ctx);
  const uint64_t before = waited;
  waited += ms;
  if (before <= kWaitNoteAfterMs && waited > kWaitNoteAfterMs) {
    std::fprintf(stderr, "sfpctl: waiting for the module (%llu ms so far; --fast skips waits)\n",
                 static_cast<unsigned long long>(before));
  }
}

// Every wait logged on the platform clock since its last reset.
std::vector<uint32_t> logged_waits() {
  std::vector<uint32_t> waits(platform_clock_waits(nullptr, 0));
  waits.resize(platform_clock_waits(waits.data(), waits.size()));
  return waits;
}

} // namespace

void print_error(std::string_view text) {
  std::fprintf(stderr, "sfpctl: %s\n", escaped(text).c_str());
}

std::string with_echoed(std::string text, std::string_view argument) {
  if (argument.empty()) {
    return text;
  }
  const std::string shown = echoed(argument);
  for (std::size_t at = text.find(argument); at != std::string::npos;
       at = text.find(argument, at + shown.size())) {
    text.replace(at, argument.size(), shown);
  }
  return text;
}

namespace {
// Why standard output first failed, kept for the one report at the end.
int g_output_errno = 0;

bool output_failed() {
  if (std::ferror(stdout) == 0) {
    return false;
  }
  if (g_output_errno == 0) {
    g_output_errno = errno;
  }
  return true;
}
} // namespace

bool flush_standard_output() {
  errno = 0;
  const bool flushed = std::fflush(stdout) == 0;
  return !output_failed() && flushed;
}

bool close_standard_output() {
  errno = 0;
  std::cout.flush();
  output_failed();
  errno = 0;
  // Also writes what is still buffered; a closed descriptor fails here.
  const bool closed = std::fclose(stdout) == 0;
  if (!closed && g_output_errno == 0) {
    g_output_errno = errno;
  }
  if (closed && g_output_errno == 0 && !std::cout.fail()) {
    return true;
  }
  const std::string why =
      g_output_errno != 0
          ? ": " + std::error_code(g_output_errno, std::generic_category()).message()
          : "";
  print_error("cannot write standard output" + why);
  return false;
}

Session::Session(GlobalOptions options) : options_(std::move(options)) {
  platform_clock_set_virtual(options_.fast ? 1 : 0);
  if (!options_.fast) {
    platform_clock_set_hook(&note_long_wait, &waited_ms_);
  }
}

Session::~Session() {
  close_port();
  if (manager_ != nullptr) {
    event_manager_destroy(manager_);
  }
  platform_clock_set_hook(nullptr, nullptr);
}

SourceSpec source_spec(const GlobalOptions &options) {
  SourceSpec spec;
  if (!options.i2c_device.empty()) {
    spec.kind = SourceKind::I2c;
    spec.target = options.i2c_device;
  } else if (!options.eeprom_file.empty()) {
    spec.kind = SourceKind::EepromFile;
    spec.target = options.eeprom_file;
  } else if (!options.ethtool_ifname.empty()) {
    spec.kind = SourceKind::Ethtool;
    spec.target = options.ethtool_ifname;
  } else if (!options.image_path.empty()) {
    spec.kind = SourceKind::Image;
    spec.target = options.image_path;
    spec.second_image = options.image_a2_path;
  } else {
    spec.target = options.profile;
  }
  return spec;
}

SourceSettings source_settings(const GlobalOptions &options) {
  SourceSettings settings;
  settings.phy_word_access = options.phy_word_access;
  settings.bus_mode = options.bus_mode;
  settings.phy_link_speed = options.phy_link_speed;
  settings.data_ready_after = options.data_ready_after;
  settings.force = options.force;
  return settings;
}

bool Session::load_module() {
  std::string error;
  source_ = ModuleSource::open(source_spec(options_), source_settings(options_), error);
  if (source_ == nullptr) {
    print_error(error);
    return false;
  }
  return true;
}

const sfpsim::Module *Session::module() const {
  return source_ != nullptr ? source_->simulated() : nullptr;
}

sfpsim::Module *Session::module() {
  return source_ != nullptr ? source_->simulated() : nullptr;
}

std::string Session::source_label() const {
  return source_ != nullptr ? source_->label() : std::string();
}

sfp_rc Session::create_port() {
  if (source_ == nullptr) {
    return SFP_RC_INVALID;
  }
  if (const sfpsim::Module *simulated = module()) {
    creation_image_ = simulated->caller_image(); // behind an adapter, what it mirrors
  }
  if (manager_ == nullptr) {
    manager_ = event_manager_create("sfpctl");
    if (manager_ == nullptr) {
      return SFP_RC_NO_MEMORY;
    }
  }
  return options_.qsa ? create_adapter_port() : create_sfp_port();
}

sfp_rc Session::create_sfp_port() {
  sfp_platform_ops ops{};
  ops.controller = kController;
  ops.port = kPort;
  std::string error;
  if (const sfp_rc rc = source_->fill_ops(ops, error); rc != SFP_RC_OK) {
    print_error(error);
    creation_reported_ = true;
    creation_status_ = rc;
    return rc;
  }
  std::copy(std::begin(ops.eeprom), std::end(ops.eeprom), creation_image_.begin());
  ops.evm = manager_;
  // A real module or an image is shown as it is: creation's transmitter
  // stage (soft disable, rate, CDR, CTLE, power class, waits) runs only
  // when asked for.
  const bool whole_creation = source_->spec().kind == SourceKind::Sim || options_.init;
  ops.module_present = options_.module_present && whole_creation ? 1 : 0;
  if (!options_.bitbang) {
    ops.bitbang_read_cb = nullptr;
  }
  // A source that selects the tables itself keeps its flags.
  ops.no_read_page_select |= options_.no_read_select ? 1 : 0;
  ops.no_write_page_select |= options_.no_write_select ? 1 : 0;
  ops.rate_code = options_.rate_code;
  ops.phy_word_access = options_.phy_word_access ? 1 : 0;
  ops.bus_mode = options_.bus_mode;
  sfp_port_create_result result{};
  platform_clock_reset();
  const sfp_rc rc = sfp_port_create(&ops, &result);
  creation_status_ = rc;
  creation_waits_ = logged_waits();
  forget_creation_transfers();
  if (result.handle != nullptr) {
    port_ = result.handle;
  } else {
    failed_port_ = registered_port(ops.opaque);
  }
  return rc;
}

// The adapter port creates the SFP port itself, through the adapter's
// mirror pages.
sfp_rc Session::create_adapter_port() {
  if (adapter_ == nullptr) {
    adapter_ = std::make_unique<sfpsim::Adapter>();
    if (!options_.qsa_empty) {
      adapter_->seat(*source_->simulated());
    }
  }
  qsa_platform_ops ops = adapter_->platform_ops(kPort, options_.module_present ? 1 : 0);
  ops.evm = manager_;
  ops.oir_notify_cb = &record_notification;
  ops.no_read_page_select = options_.no_read_select ? 1 : 0;
  ops.no_write_page_select = options_.no_write_select ? 1 : 0;
  qsa_port_create_result result{};
  platform_clock_reset();
  const sfp_rc rc = qsa_port_create(&ops, &result);
  creation_status_ = rc;
  creation_waits_ = logged_waits();
  forget_creation_transfers();
  // A failed creation leaves its context registered, to be deleted at the
  // end like a created one.
  adapter_port_ =
      result.handle != nullptr ? result.handle : registered_adapter_port(adapter_.get());
  return rc;
}

bool Session::sfp_missing_behind_adapter() const {
  return options_.qsa && !options_.qsa_empty && adapter_port_ != nullptr &&
         qsa_is_sfp_instantiated(adapter_port_) == 0;
}

sfp_rc Session::recreate_adapter_port() {
  if (adapter_port_ != nullptr) {
    const sfp_rc rc = qsa_port_delete(adapter_port_);
    adapter_port_ = nullptr;
    if (rc != SFP_RC_OK) {
      return rc;
    }
  }
  return create_adapter_port();
}

// The log is of the command's transfers; creation's are in the trace.
void Session::forget_creation_transfers() {
  if (!options_.log_creation) {
    source_->forget_transfers();
    if (adapter_ != nullptr) {
      adapter_->clear_log();
    }
  }
  if (options_.fail_at && module() != nullptr) {
    module()->fail_at(options_.fail_at->page, options_.fail_at->offset, kInjectedFault);
  }
}

bool Session::a2_captured() const {
  const sfpsim::Module *simulated = module();
  return simulated == nullptr || simulated->memory().a2_captured;
}

int Session::read_module(uint8_t page, uint8_t offset, uint32_t length, uint8_t *buffer) {
  if (source_ == nullptr) {
    return SFP_RC_INVALID;
  }
  return static_cast<int>(source_->read(page, offset, length, buffer));
}

sfp_port_ctx *Session::port() const {
  if (adapter_ != nullptr) {
    return adapter_port_ != nullptr ? adapter_port_->sfp_port : nullptr;
  }
  return port_;
}

sfp_port_ctx *Session::sfp_port_for(std::string_view command) const {
  sfp_port_ctx *sfp = port();
  if (sfp == nullptr) {
    print_error(std::string(command) + ": no SFP port behind the adapter");
  }
  return sfp;
}

std::vector<uint32_t> Session::take_notifications() {
  std::vector<uint32_t> phases;
  phases.swap(g_notifications);
  return phases;
}

bool Session::close_port() {
  if (adapter_port_ != nullptr) {
    const sfp_rc rc = qsa_port_delete(adapter_port_);
    adapter_port_ = nullptr;
    if (rc != SFP_RC_OK) {
      print_error("cannot delete adapter port: " + status_text(rc));
      return false;
    }
    return true;
  }
  sfp_port_ctx *port = port_ != nullptr ? port_ : failed_port_;
  port_ = nullptr;
  failed_port_ = nullptr;
  if (port == nullptr) {
    return true;
  }
  const sfp_rc rc = sfp_port_delete(port);
  if (rc != SFP_RC_OK) {
    print_error("cannot delete port: " + status_text(rc));
    return false;
  }
  return true;
}

sfp_rc Session::checked(std::string_view what, const std::function<sfp_rc()> &call) const {
  const char *buffers[] = {kErrorTrace, kAdapterErrorTrace};
  uint64_t before[std::size(buffers)];
  for (std::size_t i = 0; i < std::size(buffers); ++i) {
    before[i] = records_written(pelog_find(buffers[i]));
  }
  const sfp_rc rc = call();
  if (rc == SFP_RC_OK) {
    return rc;
  }
  print_error(std::string(what) + " failed: " + status_text(rc));
  // A buffer may only now exist, if the call initialised its layer.
  for (std::size_t i = 0; i < std::size(buffers); ++i) {
    pelog_hdl errors = pelog_find(buffers[i]);
    if (records_written(errors) > before[i]) {
      print_error(last_record(errors));
    }
  }
  return rc;
}

void Session::print_access_log(std::FILE *out) const {
  if (source_ == nullptr) {
    return;
  }
  if (adapter_ != nullptr) {
    for (const sfpsim::AdapterAccess &access : adapter_->log()) {
      std::fprintf(out, "adapter %-5s page %u offset 0x%02x length %3u status %d:",
                   access.write ? "write" : "read", static_cast<unsigned>(access.page),
                   static_cast<unsigned>(access.offset), access.length, access.status);
      for (const uint8_t byte : access.bytes) {
        std::fprintf(out, " %02x", static_cast<unsigned>(byte));
      }
      std::fputc('\n', out);
    }
  }
  source_->print_transfers(out);
}

} // namespace sfpctl
