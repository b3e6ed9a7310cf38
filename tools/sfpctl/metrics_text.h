// The ports' state in the Prometheus text exposition format, and the
// textfile the node exporter's textfile collector reads.
#ifndef SFPCTL_METRICS_TEXT_H
#define SFPCTL_METRICS_TEXT_H

#include <string>
#include <string_view>
#include <vector>

#include "watch.h"

namespace sfpctl {

// Appends the metrics of `readings` to `out`: every family once, with its
// HELP and TYPE lines, its series for all ports together. Base units (degrees
// Celsius, volts, amperes, watts; dBm only as extra gauges of the powers),
// thresholds with a `level` label, flags as 0/1 gauges, sfp_up and the
// read-error counter per port, and no series for a value the module does not
// have.
void render_metrics(const std::vector<PortReading> &readings, std::string &out);

// A label value as the format takes it: backslash, double quote and line end
// escaped; bytes that are not printable ASCII (module text) shown as '.'.
std::string label_value(std::string_view text);

// Writes `text` to `path` so that a reader sees the old file or the new one,
// never a part: a temporary file in the same directory, synced, then renamed
// over `path`. On failure returns false with `error` set, and leaves `path`
// as it was.
bool write_file_atomically(const std::string &path, std::string_view text, std::string &error);

} // namespace sfpctl

#endif // SFPCTL_METRICS_TEXT_H
