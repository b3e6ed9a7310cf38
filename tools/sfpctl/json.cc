#include "json.h"

#include <charconv>
#include <cmath>

#include <fmt/format.h>

namespace sfpctl {
namespace {

// The values come from single-precision numbers: their shortest float
// form, 3.29 rather than 3.2899999618530273.
std::string float_text(double value) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, static_cast<float>(value));
  return {digits, result.ptr};
}

std::string value_text(const nlohmann::ordered_json &value) {
  switch (value.type()) {
  case nlohmann::ordered_json::value_t::string:
    return json_string(value.get_ref<const std::string &>());
  case nlohmann::ordered_json::value_t::boolean:
    return value.get<bool>() ? "true" : "false";
  case nlohmann::ordered_json::value_t::number_integer:
    return fmt::format("{}", value.get<int64_t>());
  case nlohmann::ordered_json::value_t::number_float:
    return float_text(value.get<double>());
  default:
    return "null";
  }
}

} // namespace

std::string json_string(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte > 0x7e) {
      // Module text fields are bytes, not UTF-8.
      fmt::format_to(std::back_inserter(out), "\\u{:04x}", byte);
    } else {
      out += c;
    }
  }
  return out + "\"";
}

JsonObject &JsonObject::put(std::string_view key, nlohmann::ordered_json value) {
  object_[std::string(key)] = absent_ ? nullptr : std::move(value);
  return *this;
}

JsonObject &JsonObject::text(std::string_view key, std::string_view value) {
  return put(key, std::string(value));
}

JsonObject &JsonObject::field(std::string_view key, std::string_view value) {
  return value.empty() ? null(key) : text(key, value);
}

JsonObject &JsonObject::flag(std::string_view key, bool value) {
  return put(key, value);
}

JsonObject &JsonObject::integer(std::string_view key, int64_t value) {
  return put(key, value);
}

JsonObject &JsonObject::number(std::string_view key, std::optional<double> value) {
  if (!value || !std::isfinite(*value)) {
    return null(key);
  }
  return put(key, *value);
}

JsonObject &JsonObject::null(std::string_view key) {
  return put(key, nullptr);
}

std::string JsonObject::str() const {
  std::string out = "{";
  for (const auto &[key, value] : object_.items()) {
    fmt::format_to(std::back_inserter(out), "{}{}: {}", out.size() > 1 ? ", " : "",
                   json_string(key), value_text(value));
  }
  return out + "}\n";
}

} // namespace sfpctl
