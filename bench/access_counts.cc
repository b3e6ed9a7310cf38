// The bus traffic of each exported operation: module accesses (callback
// calls) and bytes moved, from the simulated module's and adapter's access
// logs, on the virtual clock. The table is committed as
// docs/access-counts.tsv and checked so that an operation that starts
// making more bus traffic than before is noticed.
//
//   sfpdrv_access_counts               print the table (TSV)
//   sfpdrv_access_counts --write FILE  write it to FILE
//   sfpdrv_access_counts --check FILE  compare with FILE: exit 1 when an
//                                      operation makes more accesses or
//                                      bytes than FILE says, or is not in it
//
// Adding an operation is one `add` line in operations() below.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/psleep.h"
#include "sfpdrv/sfpdrv.h"
#include "sfpsim/adapter.h"
#include "sfpsim/module.h"

namespace {

struct Traffic {
  uint64_t accesses = 0;
  uint64_t bytes = 0;
};

// Module memory calls, and the copper PHY's calls (a register moved as a
// word is two bytes, as one byte per call one).
Traffic traffic_of(const sfpsim::Module &module) {
  Traffic t;
  for (const sfpsim::Access &access : module.log()) {
    ++t.accesses;
    t.bytes += access.length;
  }
  if (const sfpsim::Phy *phy = module.phy()) {
    const uint64_t per_call = phy->width() == sfpsim::PhyWidth::Word ? 2 : 1;
    t.accesses += phy->log().size();
    t.bytes += phy->log().size() * per_call;
  }
  return t;
}

void clear_logs(sfpsim::Module &module) {
  module.clear_log();
  if (sfpsim::Phy *phy = module.phy()) {
    phy->clear_log();
  }
}

Traffic traffic_of(const sfpsim::Adapter &adapter) {
  Traffic t;
  for (const sfpsim::AdapterAccess &access : adapter.log()) {
    ++t.accesses;
    t.bytes += access.length;
  }
  return t;
}

constexpr uint32_t kDown = 0;
constexpr uint32_t kUp = 1;

using PortOp = std::function<void(sfp_port_ctx *)>;
using AdapterOp = std::function<void(qsa_port_ctx *, sfpsim::Adapter &)>;

std::unique_ptr<sfpsim::Module> module_of(const std::string &profile) {
  const sfpsim::Profile *found = sfpsim::find_profile(profile);
  if (found == nullptr) {
    std::fprintf(stderr, "access_counts: no profile %s\n", profile.c_str());
    std::exit(2);
  }
  return std::make_unique<sfpsim::Module>(*found);
}

sfp_port_ctx *create(const sfpsim::Module &module) {
  sfp_platform_ops ops = module.platform_ops(0, 7);
  ops.module_present = 1;
  sfp_port_create_result result{};
  sfp_port_create(&ops, &result);
  return result.handle;
}

// Port creation on a module of the profile (module present, bit-bang read
// given).
Traffic creation(const std::string &profile) {
  auto module = module_of(profile);
  sfp_port_ctx *port = create(*module);
  const Traffic t = traffic_of(*module);
  if (port != nullptr) {
    sfp_port_delete(port);
  }
  return t;
}

// One operation on a port created on a module of the profile.
Traffic on_port(const std::string &profile, const PortOp &op) {
  auto module = module_of(profile);
  sfp_port_ctx *port = create(*module);
  if (port == nullptr) {
    std::fprintf(stderr, "access_counts: %s: no port\n", profile.c_str());
    std::exit(2);
  }
  clear_logs(*module);
  op(port);
  const Traffic t = traffic_of(*module);
  sfp_port_delete(port);
  return t;
}

// One operation on an adapter port holding a module of the profile: the
// adapter's callback calls, and the module's own (forwarded writes).
Traffic on_adapter(const std::string &profile, const AdapterOp &op, bool count_creation = false) {
  auto module = module_of(profile);
  sfpsim::Adapter adapter;
  adapter.seat(*module);
  clear_logs(*module);
  const qsa_platform_ops ops = adapter.platform_ops(7, 1);
  qsa_port_create_result result{};
  qsa_port_create(&ops, &result);
  if (result.handle == nullptr) {
    std::fprintf(stderr, "access_counts: %s: no adapter port\n", profile.c_str());
    std::exit(2);
  }
  if (!count_creation) {
    adapter.clear_log();
    clear_logs(*module);
    op(result.handle, adapter);
  }
  Traffic t = traffic_of(adapter);
  const Traffic forwarded = traffic_of(*module);
  t.accesses += forwarded.accesses;
  t.bytes += forwarded.bytes;
  qsa_port_delete(result.handle);
  return t;
}

struct Entry {
  std::string name;
  std::function<Traffic()> measure;
};

std::vector<Entry> operations() {
  std::vector<Entry> out;
  auto add = [&](std::string name, std::function<Traffic()> measure) {
    out.push_back({std::move(name), std::move(measure)});
  };
  auto port_op = [&](std::string name, std::string profile, PortOp op) {
    add(std::move(name),
        [profile = std::move(profile), op = std::move(op)] { return on_port(profile, op); });
  };
  auto adapter_op = [&](std::string name, AdapterOp op) {
    add(std::move(name), [op = std::move(op)] { return on_adapter("10gbase-sr", op); });
  };

  for (const sfpsim::Profile &profile : sfpsim::profiles()) {
    add("create/" + profile.name, [name = profile.name] { return creation(name); });
  }

  port_op("read/a0-96", "10gbase-sr", [](sfp_port_ctx *p) {
    uint8_t buffer[96];
    sfp_port_read(p, 0, SFP_PAGE_A0, sizeof buffer, buffer);
  });
  port_op("read/a2-table0-128", "10gbase-sr", [](sfp_port_ctx *p) {
    uint8_t buffer[128];
    sfp_port_read(p, 128, SFP_PAGE_A2_TABLE0, sizeof buffer, buffer);
  });
  port_op("write/a2-1", "10gbase-sr", [](sfp_port_ctx *p) {
    uint8_t value = 0;
    sfp_port_write(p, 127, SFP_PAGE_A2, 1, &value);
  });
  for (const char *profile : {"10gbase-sr", "10g-tunable-dwdm", "10g-dac-1m"}) {
    port_op(std::string("hw_status/") + profile, profile, [](sfp_port_ctx *p) {
      sfp_hw_status_rec rec{};
      sfp_port_hw_status(p, &rec);
    });
  }
  port_op("hw_info/10gbase-sr", "10gbase-sr", [](sfp_port_ctx *p) {
    sfp_hw_info_rec rec{};
    sfp_port_hw_info(p, &rec);
  });
  for (const char *profile : {"10gbase-sr", "1000base-lx-extcal", "10g-dac-1m"}) {
    port_op(std::string("report/") + profile, profile, [](sfp_port_ctx *p) {
      char *text = nullptr;
      uint32_t length = 0;
      sfp_port_phy_reg_decode(p, &text, &length);
      std::free(text);
    });
  }
  for (const char *profile : {"10gbase-sr", "10g-tunable-dwdm"}) {
    port_op(std::string("debug_info/") + profile, profile, [](sfp_port_ctx *p) {
      std::vector<char> text(16384);
      uint32_t length = 0;
      sfp_port_get_debug_info(p, text.data(), static_cast<uint32_t>(text.size()), &length);
    });
  }
  port_op("read_reg/10gbase-sr", "10gbase-sr", [](sfp_port_ctx *p) {
    char *text = nullptr;
    uint32_t size = 0;
    sfp_port_read_reg(p, &text, &size);
    std::free(text);
  });
  port_op("tx_enable/10gbase-sr", "10gbase-sr", [](sfp_port_ctx *p) { sfp_port_tx_enable(p); });
  port_op("tx_disable/10gbase-sr", "10gbase-sr", [](sfp_port_ctx *p) { sfp_port_tx_disable(p); });
  port_op("tx_cdr_enable/25gbase-sr", "25gbase-sr",
          [](sfp_port_ctx *p) { sfp_port_tx_cdr_enable(p, 1); });
  port_op("ctle_ena_dis/25gbase-sr", "25gbase-sr",
          [](sfp_port_ctx *p) { sfp_port_ctle_ena_dis(p, 1); });
  port_op("configure_peaking_ctle/25gbase-sr", "25gbase-sr",
          [](sfp_port_ctx *p) { sfp_port_configure_peaking_ctle(p, 0x33, 0xff); });
  port_op("high_power_class/25gbase-sr", "25gbase-sr",
          [](sfp_port_ctx *p) { sfp_port_high_power_class_ena_dis(p, 1); });
  port_op("admin_state/up/25gbase-sr", "25gbase-sr",
          [](sfp_port_ctx *p) { sfp_port_admin_state(p, kDown, kUp); });
  port_op("admin_state/down/25gbase-sr", "25gbase-sr",
          [](sfp_port_ctx *p) { sfp_port_admin_state(p, kUp, kDown); });
  port_op("set_phy_speed/1000base-t", "1000base-t", [](sfp_port_ctx *p) {
    sfp_port_admin_state(p, kDown, kUp);
    sfp_port_set_phy_speed(p, 1000, 1);
  });
  port_op("tune/10g-tunable-dwdm", "10g-tunable-dwdm",
          [](sfp_port_ctx *p) { sfp_port_tsfp_wavechannel_set(p, 5); });

  add("qsa/create/10gbase-sr", [] {
    return on_adapter(
        "10gbase-sr", [](qsa_port_ctx *, sfpsim::Adapter &) {}, true);
  });
  adapter_op("qsa/detect_oir/no_change",
             [](qsa_port_ctx *q, sfpsim::Adapter &) { qsa_port_detect_sfp_oir(q); });
  adapter_op("qsa/detect_oir/removal", [](qsa_port_ctx *q, sfpsim::Adapter &a) {
    a.remove();
    qsa_port_detect_sfp_oir(q);
  });
  adapter_op("qsa/read/lower-1", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    uint8_t byte = 0;
    qsa_port_read(q, 1, QSA_PAGE_LOWER, 1, &byte);
  });
  adapter_op("qsa/hw_status", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    sfp_hw_status_rec rec{};
    qsa_port_hw_status(q, &rec);
  });
  adapter_op("qsa/hw_info", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    sfp_hw_info_rec sfp{};
    sfp_hw_info_rec adapter{};
    qsa_port_hw_info(q, &sfp, &adapter);
  });
  adapter_op("qsa/report", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    char *text = nullptr;
    uint32_t size = 0;
    qsa_port_phy_reg_decode(q, &text, &size);
    std::free(text);
  });
  adapter_op("qsa/read_reg", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    char *text = nullptr;
    uint32_t size = 0;
    qsa_port_read_reg(q, &text, &size);
    std::free(text);
  });
  adapter_op("qsa/tx_enable", [](qsa_port_ctx *q, sfpsim::Adapter &) { qsa_port_tx_enable(q); });
  adapter_op("qsa/tx_disable", [](qsa_port_ctx *q, sfpsim::Adapter &) { qsa_port_tx_disable(q); });
  adapter_op("qsa/admin_state/up",
             [](qsa_port_ctx *q, sfpsim::Adapter &) { qsa_port_admin_state(q, kDown, kUp); });
  adapter_op("qsa/rate", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    uint32_t rate = 0;
    qsa_port_rate(q, &rate);
  });
  adapter_op("qsa/get_type", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    sfp_xcvr_type type = 0;
    char name[SFP_XCVR_NAME_LEN + 1];
    uint32_t defaulted = 0;
    qsa_port_get_type(q, &type, name, sizeof name, &defaulted);
  });
  adapter_op("qsa/get_state", [](qsa_port_ctx *q, sfpsim::Adapter &) {
    uint8_t link = 0;
    qsa_port_get_state(q, &link);
  });
  add("qsa/set_sfp_phy_speed/1000base-t", [] {
    return on_adapter("1000base-t", [](qsa_port_ctx *q, sfpsim::Adapter &) {
      qsa_port_set_sfp_phy_speed(q, 1000, 1);
    });
  });
  return out;
}

using Table = std::map<std::string, Traffic>;

std::string render(const std::vector<std::pair<std::string, Traffic>> &rows) {
  std::ostringstream out;
  out << "operation\taccesses\tbytes\n";
  for (const auto &[name, t] : rows) {
    out << name << '\t' << t.accesses << '\t' << t.bytes << '\n';
  }
  return out.str();
}

bool read_table(const std::string &path, Table &table) {
  std::ifstream in(path);
  if (!in) {
    return false;
  }
  std::string line;
  std::getline(in, line); // header
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string name;
    Traffic t;
    if (std::getline(fields, name, '\t') && fields >> t.accesses >> t.bytes) {
      table[name] = t;
    }
  }
  return true;
}

constexpr const char *kUpdate = "scripts/perf-record.sh --counts";

int check(const std::vector<std::pair<std::string, Traffic>> &rows, const std::string &path) {
  Table committed;
  if (!read_table(path, committed)) {
    std::fprintf(stderr, "access_counts: cannot read %s\n", path.c_str());
    return 1;
  }
  int more = 0;
  int fewer = 0;
  for (const auto &[name, t] : rows) {
    const auto found = committed.find(name);
    if (found == committed.end()) {
      std::printf("NOT IN TABLE %s: %lu accesses, %lu bytes\n", name.c_str(),
                  static_cast<unsigned long>(t.accesses), static_cast<unsigned long>(t.bytes));
      ++more;
      continue;
    }
    const Traffic was = found->second;
    committed.erase(found);
    if (t.accesses > was.accesses || t.bytes > was.bytes) {
      std::printf("MORE TRAFFIC %s: %lu accesses, %lu bytes (table: %lu, %lu)\n", name.c_str(),
                  static_cast<unsigned long>(t.accesses), static_cast<unsigned long>(t.bytes),
                  static_cast<unsigned long>(was.accesses), static_cast<unsigned long>(was.bytes));
      ++more;
    } else if (t.accesses < was.accesses || t.bytes < was.bytes) {
      std::printf("fewer %s: %lu accesses, %lu bytes (table: %lu, %lu)\n", name.c_str(),
                  static_cast<unsigned long>(t.accesses), static_cast<unsigned long>(t.bytes),
                  static_cast<unsigned long>(was.accesses), static_cast<unsigned long>(was.bytes));
      ++fewer;
    }
  }
  for (const auto &[name, t] : committed) {
    std::printf("no longer measured %s\n", name.c_str());
    ++fewer;
  }
  if (more != 0) {
    std::printf("%d operation(s) make more bus traffic than %s says, or are not in it. If that "
                "is intended, update the table with %s\n",
                more, path.c_str(), kUpdate);
    return 1;
  }
  if (fewer != 0) {
    std::printf("note: %d operation(s) make less bus traffic than %s says; update the table "
                "with %s\n",
                fewer, path.c_str(), kUpdate);
  }
  std::printf("%zu operations checked against %s\n", rows.size(), path.c_str());
  return 0;
}

} // namespace

int main(int argc, char **argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (!(argc == 1 || (argc == 3 && (mode == "--write" || mode == "--check")))) {
    std::fprintf(stderr, "usage: sfpdrv_access_counts [--write FILE | --check FILE]\n");
    return 2;
  }
  platform_clock_set_virtual(1); // the module protocol's waits pass at once
  std::vector<std::pair<std::string, Traffic>> rows;
  for (const Entry &entry : operations()) {
    rows.emplace_back(entry.name, entry.measure());
  }
  if (mode == "--check") {
    return check(rows, argv[2]);
  }
  const std::string table = render(rows);
  if (mode == "--write") {
    std::ofstream out(argv[2]);
    out << table;
    return out.good() ? 0 : 1;
  }
  std::fputs(table.c_str(), stdout);
  return 0;
}
