// sfpctl's --json output: one object of keys in the order they are added,
// kept as an ordered JSON value and written on one line.
#ifndef SFPCTL_JSON_H
#define SFPCTL_JSON_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace sfpctl {

// `text` as a JSON string with its quotes. Quotes and backslashes are
// escaped, and every control or non-ASCII byte is written as \u00XX: module
// text fields are bytes, not UTF-8.
std::string json_string(std::string_view text);

// Every string value goes through json_string(); a value that is not there
// is null.
class JsonObject {
public:
  JsonObject &text(std::string_view key, std::string_view value);
  // A text field of module memory: null when the module leaves it empty.
  JsonObject &field(std::string_view key, std::string_view value);
  JsonObject &flag(std::string_view key, bool value);
  JsonObject &integer(std::string_view key, int64_t value);
  // A number in the shortest form that reads back as the same float; null
  // when absent or not finite.
  JsonObject &number(std::string_view key, std::optional<double> value);
  JsonObject &null(std::string_view key);
  // While set, every key added is null: the keys of a module that is not
  // there, with the same names as when it is.
  JsonObject &absent(bool absent) {
    absent_ = absent;
    return *this;
  }

  // The object on one line ("key": value, ...), with a line end. Strings
  // as json_string() writes them; numbers that came as floats in their
  // shortest float form.
  std::string str() const;

private:
  JsonObject &put(std::string_view key, nlohmann::ordered_json value);
  nlohmann::ordered_json object_ = nlohmann::ordered_json::object();
  bool absent_ = false;
};

} // namespace sfpctl

#endif // SFPCTL_JSON_H
