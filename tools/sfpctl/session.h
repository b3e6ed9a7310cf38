// One run of sfpctl: the chosen module, the event manager and the port that
// the commands work on.
#ifndef SFPCTL_SESSION_H
#define SFPCTL_SESSION_H

#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/evm.h"
#include "ports.h"
#include "sfpdrv/sfpdrv.h"
#include "sfpsim/adapter.h"
#include "sfpsim/module.h"
#include "source.h"

namespace sfpctl {

inline constexpr const char *kDefaultProfile = "10gbase-sr";
inline constexpr const char *kErrorTrace = "sfp_err";
inline constexpr const char *kEventTrace = "sfp_evt";
inline constexpr const char *kAdapterErrorTrace = "qsa_err";
inline constexpr const char *kAdapterEventTrace = "qsa_evt";

// The multi-rate selector of the port (1 = 25G, 2 = 10G, 3 = 50G).
inline constexpr uint32_t kDefaultRateCode = 1;

// Status the simulated module's callbacks return for a transfer that
// --fail-at makes fail (EIO, an I/O error on a real bus).
inline constexpr int kInjectedFault = 5;

// A module transfer that fails: every one that starts at this page and
// offset.
struct FailAt {
  uint8_t page;
  uint8_t offset;
};

// Before the wait that takes a run with real sleeps past this much waiting,
// the tool says why it is slow.
inline constexpr uint64_t kWaitNoteAfterMs = 1000;

// The global options, as parsed, and the settings a command adds to them.
struct GlobalOptions {
  std::string profile = kDefaultProfile;
  std::string image_path;    // when set, the module is loaded from this file
  std::string image_a2_path; // a second image file, holding A2h
  // A real module: an i2c-dev adapter, the kernel's module EEPROM file or a
  // network interface (ethtool). At most one of them, and then no image.
  std::string i2c_device;
  std::string eeprom_file;
  std::string ethtool_ifname;
  // i2c-dev: open even with a kernel driver bound to the module's address.
  bool force = false;
  // The whole creation on a real module or an image, transmitter stage
  // included, as for a newly inserted module.
  bool init = false;
  // Changes to a real module go ahead without asking.
  bool yes = false;
  bool show_log = false;
  // Waits on the virtual clock: the library's sleeps return at once.
  bool fast = false;
  // A failing transfer, injected once the port is created.
  std::optional<FailAt> fail_at;
  bool no_read_select = false;
  bool no_write_select = false;
  uint32_t rate_code = kDefaultRateCode;
  // How the board reaches a copper PHY: 16-bit words, or bytes (bus mode 1:
  // the two bytes of a register at their own register bytes).
  bool phy_word_access = false;
  uint32_t bus_mode = 0;
  // Link speed (10, 100, 1000 Mb/s) the simulated PHY reports; 0: link down.
  uint32_t phy_link_speed = 0;
  // Creation: whether the platform says a module is present, whether it
  // hands over the module's bit-bang read, and after how many reads of A2h
  // byte 110 the simulated module's data becomes ready (unset: as its memory
  // says).
  bool module_present = true;
  bool bitbang = false;
  std::optional<uint32_t> data_ready_after;
  // The access log keeps creation's transfers too.
  bool log_creation = false;
  // The module sits in a simulated QSFP-to-SFP adapter: the port is an
  // adapter port and the SFP port is the one it creates behind the adapter.
  bool qsa = false;
  // The adapter starts with no SFP seated (the module waits to be inserted).
  bool qsa_empty = false;
  // Named ports (--port, --ports); and whether --sim or --image was given.
  std::vector<PortSpec> ports;
  bool module_given = false;
};

// The source the options name (a profile unless a file or device is named).
SourceSpec source_spec(const GlobalOptions &options);

// The settings the options give the source.
SourceSettings source_settings(const GlobalOptions &options);

// Prints "sfpctl: TEXT" as one line on standard error: bytes that are not
// printable (a line end in an argument, a module's byte in a trace record)
// are escaped. Arguments in TEXT are expected to be echoed() already.
void print_error(std::string_view text);

// `text` with every appearance of `argument` echoed (see echoed()): for a
// message made elsewhere that quotes an argument as it is.
std::string with_echoed(std::string text, std::string_view argument);

// Flushes standard output; false when output was lost (a full disk, a
// closed descriptor). The loss is reported by close_standard_output().
bool flush_standard_output();

// Flushes and closes standard output at the end of the run. When output was
// lost, now or before, prints one line and returns false.
bool close_standard_output();

class Session {
public:
  explicit Session(GlobalOptions options);
  ~Session();
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  // Opens the source of the module the options name. Prints one line and
  // returns false when it cannot be opened (an image file that does not
  // load, a device or interface that is not there).
  bool load_module();

  // Creates the port on the module, as a platform would. Returns the
  // creation status; the port is available when creation returned a handle,
  // which it also does for a few failures of the module's start-up.
  sfp_rc create_port();

  // Deletes the port (or the context of a failed creation). Prints one line
  // and returns false when the library refuses.
  bool close_port();

  // With --qsa: deletes the adapter port and creates it again on the
  // adapter as it now is, as a platform does after an insertion
  // notification. Returns the creation status.
  sfp_rc recreate_adapter_port();

  // The status of the port's creation (only after create_port).
  sfp_rc creation_status() const { return creation_status_; }
  // The SFP port; with --qsa the one behind the adapter, null while the
  // adapter port has none.
  sfp_port_ctx *port() const;
  // The SFP port for a command that needs one; with --qsa and none behind
  // the adapter, prints "COMMAND: no SFP port behind the adapter" and
  // returns null.
  sfp_port_ctx *sfp_port_for(std::string_view command) const;
  // With --qsa: the adapter port and the simulated adapter; null otherwise.
  qsa_port_ctx *adapter_port() const { return adapter_port_; }
  sfpsim::Adapter *adapter() const { return adapter_.get(); }
  // With --qsa: a module was seated in the adapter, but the adapter port
  // holds no SFP port for it (the SFP's creation failed, e.g. with 95).
  bool sfp_missing_behind_adapter() const;
  // The phases of the insertion notifications since the last call.
  std::vector<uint32_t> take_notifications();
  // After a failed creation: the context the library keeps registered for
  // the module, not initialised (null when there is none).
  sfp_port_ctx *failed_port() const { return failed_port_; }
  // The simulated module (a profile or an image); null for a real one.
  const sfpsim::Module *module() const;
  sfpsim::Module *module();
  // Where the module comes from; null before load_module().
  ModuleSource *source() const { return source_.get(); }
  // "sim:10gbase-sr", "image:PATH", "i2c:/dev/i2c-1", ... (empty before
  // load_module()).
  std::string source_label() const;
  // A real module (not a simulated one): no simulator option applies and
  // every change needs confirmation.
  bool real_source() const { return source_ != nullptr && source_->real(); }
  // A0h then A2h as handed to the port's creation (zero before it).
  const std::array<uint8_t, 512> &creation_image() const { return creation_image_; }
  // The creation failed before the library was called, and said so.
  bool creation_reported() const { return creation_reported_; }
  // Whether the module's A2h bytes are known: an image of A0h only has none.
  bool a2_captured() const;
  // Reads module memory as the platform's bus does, without a port: for a
  // module the library refused. An upper table is selected first (A2h byte
  // 127), as the library does. Returns 0 or the source's status.
  int read_module(uint8_t page, uint8_t offset, uint32_t length, uint8_t *buffer);
  const GlobalOptions &options() const { return options_; }
  event_manager *manager() const { return manager_; }
  bool has_module() const { return source_ != nullptr; }
  // The waits of the port's creation in milliseconds, oldest first.
  const std::vector<uint32_t> &creation_waits() const { return creation_waits_; }

  // Runs one library call. When it fails, prints "sfpctl: WHAT failed:
  // status N (meaning)" and, when the call left a record in the error trace,
  // that record as a second line. Returns the call's status.
  sfp_rc checked(std::string_view what, const std::function<sfp_rc()> &call) const;

  // Writes every bus transfer the module, its PHY and, with --qsa, the
  // adapter saw since the port's creation, one per line.
  void print_access_log(std::FILE *out) const;

private:
  sfp_rc create_sfp_port();
  sfp_rc create_adapter_port();
  void forget_creation_transfers();

  GlobalOptions options_;
  std::unique_ptr<ModuleSource> source_;
  std::array<uint8_t, 512> creation_image_{};
  bool creation_reported_ = false;
  event_manager *manager_ = nullptr;
  sfp_port_ctx *port_ = nullptr;
  sfp_port_ctx *failed_port_ = nullptr;
  std::unique_ptr<sfpsim::Adapter> adapter_;
  qsa_port_ctx *adapter_port_ = nullptr;
  sfp_rc creation_status_ = SFP_RC_OK;
  std::vector<uint32_t> creation_waits_;
  // Real time slept in this run, for the note on long waits.
  uint64_t waited_ms_ = 0;
};

} // namespace sfpctl

#endif // SFPCTL_SESSION_H
