// types: the library's transceiver type table, one line per type.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "number_arg.h"
#include "session.h"
#include "terminal_text.h"
#include "xcvr_text.h"

namespace sfpctl {
namespace {

constexpr sfp_xcvr_type kFirstType = SFP_XCVR_TYPE_UNKNOWN;
constexpr sfp_xcvr_type kLastType = 853; // the highest type number

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// Which types the filter picks: a type "N", a range "N-M", or otherwise the
// types whose name holds the text (in any case).
class TypeFilter {
public:
  explicit TypeFilter(const std::string &text) : text_(lower(text)) {
    const std::size_t dash = text.find('-', 1);
    const ParsedNumber first = parse_number(std::string_view(text).substr(0, dash));
    const ParsedNumber last =
        dash == std::string::npos ? first : parse_number(std::string_view(text).substr(dash + 1));
    if (first.result == ParsedNumber::Result::Ok && last.result == ParsedNumber::Result::Ok) {
      range_ = true;
      first_ = first.value;
      last_ = last.value;
    }
  }

  // A range whose first type is above its last ("743-704").
  bool reversed() const { return range_ && first_ > last_; }

  bool picks(const TypeRow &row) const {
    if (range_) {
      return row.type >= first_ && row.type <= last_;
    }
    return text_.empty() || lower(row.name).find(text_) != std::string::npos;
  }

private:
  std::string text_;
  bool range_ = false;
  sfp_xcvr_type first_ = 0;
  sfp_xcvr_type last_ = 0;
};

class TypesCommand : public Command {
public:
  std::string_view name() const override { return "types"; }
  std::string_view summary() const override {
    return "List the transceiver types the library knows, with their codes and channels";
  }
  PortUse port_use() const override { return PortUse::None; }

  void add_arguments(CLI::App &sub) override {
    sub.add_option("FILTER", filter_,
                   "A type (594), a range of types (704-743) or a part of the name (DWDM)")
        ->type_name("FILTER");
    sub.footer("Columns: type, name, the compliance codes (A0h bytes 3..6 and 7..10) and vendor "
               "code (byte 96) that identify it (0: any), the DWDM channel, and whether the "
               "type is supported on this system. A range runs from the lower type to the higher "
               "(else exit 2); when no type matches, a note on standard error says so (exit 0).");
  }

  int run(Session &) override {
    // Without a port nothing has filled the supported flags yet.
    if (sfp_xcvr_lib_init() != SFP_RC_OK) {
      print_error("the library could not build its lists of supported parts");
      return kExitFailure;
    }
    const TypeFilter filter(filter_);
    if (filter.reversed()) {
      print_error("types: FILTER: the range '" + echoed(filter_) +
                  "' runs backwards (FIRST-LAST, FIRST not above LAST)");
      return kExitUsage;
    }
    std::vector<TypeRow> rows;
    for (sfp_xcvr_type type = kFirstType; type <= kLastType; ++type) {
      const std::optional<TypeRow> row = type_row(type);
      if (row && filter.picks(*row)) {
        rows.push_back(*row);
      }
    }
    if (rows.empty()) {
      // Not a failure: the table was searched and has no such type.
      print_error("no type matches '" + echoed(filter_) + "'");
      return kExitOk;
    }
    std::size_t width = 4;
    for (const TypeRow &row : rows) {
      width = std::max(width, std::string_view(row.name).size());
    }
    const int name_width = static_cast<int>(width);
    std::printf("TYPE  %-*s  ATTR_LOW    ATTR_HIGH   EXT_ID  CHANNEL       SUPPORTED\n", name_width,
                "NAME");
    for (const TypeRow &row : rows) {
      const std::optional<GridChannel> channel = grid_channel(row.type);
      std::printf("%4u  %-*s  0x%08x  0x%08x  0x%04x  %-12s  %s\n", row.type, name_width, row.name,
                  row.attr_low, row.attr_high, row.ext_id,
                  channel ? grid_channel_text(*channel).c_str() : "-",
                  sfp_xcvr_get_attribute_supported(row.type) != 0 ? "yes" : "no");
    }
    return kExitOk;
  }

private:
  std::string filter_;
};

} // namespace

std::unique_ptr<Command> make_types_command() {
  return std::make_unique<TypesCommand>();
}

} // namespace sfpctl
