#include "json.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace sfpctl {

std::string json_string(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte > 0x7e) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(byte));
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

JsonObject &JsonObject::raw(std::string_view key, std::string_view value) {
  if (body_.size() > 1) {
    body_ += ", ";
  }
  body_ += json_string(key);
  body_ += ": ";
  body_ += absent_ ? "null" : value;
  return *this;
}

JsonObject &JsonObject::text(std::string_view key, std::string_view value) {
  return raw(key, json_string(value));
}

JsonObject &JsonObject::field(std::string_view key, std::string_view value) {
  return value.empty() ? null(key) : text(key, value);
}

JsonObject &JsonObject::flag(std::string_view key, bool value) {
  return raw(key, value ? "true" : "false");
}

JsonObject &JsonObject::integer(std::string_view key, int64_t value) {
  return raw(key, std::to_string(value));
}

JsonObject &JsonObject::number(std::string_view key, std::optional<double> value) {
  if (!value || !std::isfinite(*value)) {
    return null(key);
  }
  // The values come from single-precision numbers: their shortest float
  // form, 3.29 rather than 3.2899999618530273.
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, static_cast<float>(*value));
  return raw(key, std::string_view(digits, static_cast<std::size_t>(result.ptr - digits)));
}

JsonObject &JsonObject::null(std::string_view key) {
  return raw(key, "null");
}

} // namespace sfpctl
