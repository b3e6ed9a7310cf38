// Typed trace points.
//
// Every trace point is a TraceMsg: a message number unique in the library,
// an argument signature ("d" a 32-bit integer, "D" a pointer-sized value,
// "s" a string) and the format. The build checks that each signature
// matches its format (here) and that the numbers are unique
// (catalog/catalog.cc); trace<M>(...) checks the arguments against the
// signature at compile time and hands them to the platform trace service,
// which formats them only when the buffer is shown.
#ifndef SFPDRV_COMMON_TRACE_H
#define SFPDRV_COMMON_TRACE_H

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "platform/pelog.h"
#include "sfpdrv/types.h"

namespace sfpdrv {

struct TraceMsg {
  uint32_t number;
  const char *signature;
  const char *format;
};

namespace detail {

constexpr bool is_flag(char c) {
  return c == '-' || c == '+' || c == ' ' || c == '#' || c == '0';
}
constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// The signature letter a conversion takes, or 0 for one we do not trace.
// "%p" and "%l.." take pointer-sized values; the other integer conversions
// take 32-bit ones.
constexpr char conversion_letter(char conv, bool is_long) {
  switch (conv) {
  case 'd':
  case 'i':
  case 'u':
  case 'x':
  case 'X':
  case 'o':
  case 'c':
    return is_long ? 'D' : 'd';
  case 'p':
    return 'D';
  case 's':
    return 's';
  default:
    return 0;
  }
}

// The signature that a printf-style format implies, compared letter by
// letter with `signature`. Width and precision must be literal.
constexpr bool format_matches(const char *format, const char *signature) {
  std::size_t arg = 0;
  for (std::size_t i = 0; format[i] != '\0'; ++i) {
    if (format[i] != '%') {
      continue;
    }
    ++i;
    if (format[i] == '%') {
      continue;
    }
    while (is_flag(format[i])) {
      ++i;
    }
    while (is_digit(format[i]) || format[i] == '.') {
      ++i;
    }
    bool is_long = false;
    while (format[i] == 'l' || format[i] == 'z' || format[i] == 'h') {
      is_long = is_long || format[i] != 'h';
      ++i;
    }
    const char letter = conversion_letter(format[i], is_long);
    if (letter == 0 || signature[arg] != letter) {
      return false;
    }
    ++arg;
  }
  return signature[arg] == '\0';
}

constexpr std::size_t length(const char *text) {
  std::size_t n = 0;
  while (text[n] != '\0') {
    ++n;
  }
  return n;
}

// Bytes of the fixed-size arguments of a record.
constexpr uint32_t fixed_size(const char *signature) {
  uint32_t size = 0;
  for (std::size_t i = 0; signature[i] != '\0'; ++i) {
    size += signature[i] == 'd' ? 4u : signature[i] == 'D' ? 8u : 0u;
  }
  return size;
}

constexpr uint32_t has_strings(const char *signature) {
  for (std::size_t i = 0; signature[i] != '\0'; ++i) {
    if (signature[i] == 's') {
      return 1;
    }
  }
  return 0;
}

template <char Letter, typename T> auto trace_arg(T value) {
  using V = std::remove_cv_t<T>;
  if constexpr (Letter == 'd') {
    static_assert(std::is_integral_v<V> || std::is_enum_v<V>,
                  "a \"d\" argument must be an integer");
    static_assert(sizeof(V) <= 4, "a \"d\" argument must fit 32 bits");
    return static_cast<int32_t>(value);
  } else if constexpr (Letter == 'D') {
    if constexpr (std::is_pointer_v<V>) {
      return reinterpret_cast<uintptr_t>(value);
    } else {
      static_assert(std::is_integral_v<V>, "a \"D\" argument must be a pointer or integer");
      return static_cast<uintptr_t>(value);
    }
  } else {
    static_assert(Letter == 's', "unknown signature letter");
    static_assert(std::is_convertible_v<V, const char *>, "an \"s\" argument must be text");
    return static_cast<const char *>(value);
  }
}

template <const TraceMsg &M, typename... Args, std::size_t... I>
inline void write(sfp_trace_hdl buffer, std::index_sequence<I...>, Args... args) {
  pelog_write(buffer, M.number, fixed_size(M.signature), has_strings(M.signature), M.signature,
              M.format, trace_arg<M.signature[I]>(args)...);
}

} // namespace detail

// Writes one record of message M to `buffer`. A null buffer (tracing not
// set up) drops the record.
template <const TraceMsg &M, typename... Args>
inline void trace(sfp_trace_hdl buffer, Args... args) {
  static_assert(detail::length(M.signature) == sizeof...(Args),
                "argument count differs from the message's signature");
  if (buffer == nullptr) {
    return;
  }
  detail::write<M>(buffer, std::index_sequence_for<Args...>{}, args...);
}

} // namespace sfpdrv

// Declares the messages of an X-macro list X(name, number, signature, format)
// as TraceMsg constants, each checked against its format.
#define SFPDRV_DEFINE_MESSAGE(name, number, signature, format)                                     \
  inline constexpr ::sfpdrv::TraceMsg name{number, signature, format};                             \
  static_assert(::sfpdrv::detail::format_matches(format, signature),                               \
                #name ": signature does not match the format");

// Lists a message of an X-macro list as a catalogue row.
#define SFPDRV_LIST_MESSAGE(name, number, signature, format) name,

#endif // SFPDRV_COMMON_TRACE_H
