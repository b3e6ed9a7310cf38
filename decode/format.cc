// Value formatting: raw module-memory values as numbers in engineering
// units and as short text pieces appended to a caller's buffer.
//
// Raw units are those of the diagnostic page: temperature in 1/256 degree
// (two's complement), supply in 100 uV, bias in 2 uA, optical power in
// 0.1 uW, slopes as unsigned 8.8 fixed point. Values are computed in double
// precision and stored or printed as single precision; a float handed to
// printf is promoted back to double, so the text shows the float's value.
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "common/text.h"
#include "decode/internal.h"

namespace sfpdrv {
namespace {

constexpr uint32_t kLow8 = 0xff;
constexpr uint32_t kLow16 = 0xffff;
// 0x0100 is exactly 1 in 8.8 fixed point.
constexpr uint32_t kFixedPointOne = 0x0100;
constexpr double kFixedPointFraction = 0.00390625; // 1/256
constexpr double kMilliwattsPerStep = 0.0001;      // 0.1 uW
constexpr double kSmallestMilliwatts = 0.001;      // 1 uW
constexpr float kFloorDbm = -40.0F;

constexpr std::array<const char *, 7> kCommonStringNames = {
    "Vendor name", "Vendor p/n", "Vendor s/n", "CLEI", "PID", "Part number", "Zando version",
};

bool printable(uint8_t byte) {
  return byte >= 0x20 && byte <= 0x7e;
}

void decode_bits(uint32_t value, char *text, int32_t size, int32_t rows,
                 const xcvr_bit_decode_entry *table) {
  if (table == nullptr) {
    return;
  }
  for (int32_t i = 0; i < rows; ++i) {
    const xcvr_bit_decode_entry &row = table[i];
    if ((value & row.mask) == row.match) {
      append_piece(text, size, "%s, ", row.label != nullptr ? row.label : "");
    }
  }
}

float signed_fixed_point(uint32_t value) {
  const auto whole = static_cast<int8_t>((value >> 8) & kLow8);
  return static_cast<float>(whole) + static_cast<float>((value & kLow8) * kFixedPointFraction);
}

float unsigned_fixed_point(uint32_t value) {
  return static_cast<float>(value >> 8) + static_cast<float>((value & kLow8) * kFixedPointFraction);
}

float milliamps_of(uint32_t value) {
  return static_cast<float>(static_cast<double>(value) * 2.0 / 1000.0);
}

float volts_of(uint32_t value) {
  return static_cast<float>(static_cast<double>(value) * 100.0 / 1000000.0);
}

// 10 x log10 in single precision, of milliwatts converted to single.
float dbm_of(double milliwatts) {
  return 10.0F * std::log10(static_cast<float>(milliwatts));
}

// A piece of text and fixed-point numbers built without the formatter:
// printf's "%f" is most of the cost of a diagnostics decode. fixed() writes a
// number exactly as "%<width>.<decimals>f" would; where it cannot be sure of
// printf's rounding (a value within a hair of a tie, a large or non-finite
// value) the piece is marked not ok and the caller formats it with printf.
class FixedPiece {
public:
  FixedPiece &text(const char *piece) {
    const std::size_t n = std::strlen(piece);
    ok_ = ok_ && length_ + n < sizeof text_;
    if (ok_) {
      std::memcpy(text_ + length_, piece, n);
      length_ += n;
    }
    return *this;
  }

  // `decimals` from 0 to 9.
  FixedPiece &fixed(double value, int width, int decimals) {
    double scale = 1;
    for (int i = 0; i < decimals; ++i) {
      scale *= 10;
    }
    const double scaled = std::fabs(value) * scale;
    const double rounded = std::nearbyint(scaled);
    ok_ = ok_ && std::isfinite(scaled) && scaled < kExactBelow &&
          std::fabs(std::fabs(scaled - rounded) - 0.5) >= kTieMargin;
    if (!ok_) {
      return *this;
    }
    // Digits from the last: the fraction, its point, the whole part, the sign.
    char digits[kMaxDigits];
    std::size_t n = 0;
    auto units = static_cast<uint64_t>(rounded);
    for (int i = 0; i < decimals; ++i, units /= 10) {
      digits[n++] = static_cast<char>('0' + units % 10);
    }
    if (decimals > 0) {
      digits[n++] = '.';
    }
    do {
      digits[n++] = static_cast<char>('0' + units % 10);
      units /= 10;
    } while (units != 0);
    if (std::signbit(value)) {
      digits[n++] = '-';
    }
    const int used = static_cast<int>(n);
    const std::size_t padding = width > used ? static_cast<std::size_t>(width - used) : 0;
    ok_ = length_ + padding + n < sizeof text_;
    if (ok_) {
      std::memset(text_ + length_, ' ', padding);
      length_ += padding;
      while (n > 0) {
        text_[length_++] = digits[--n];
      }
    }
    return *this;
  }

  bool ok() const { return ok_; }
  const char *c_str() {
    text_[length_] = '\0';
    return text_;
  }

private:
  // Below this a double's spacing is far finer than the tie margin, so the
  // rounding of the scaled value is certain.
  static constexpr double kExactBelow = 1e9;
  static constexpr double kTieMargin = 1e-6;
  static constexpr std::size_t kMaxDigits = 24;

  char text_[kPieceScratch] = {};
  std::size_t length_ = 0;
  bool ok_ = true;
};

// Appends a number as "%<width>.<decimals>f" followed by its unit.
void append_number(char *text, int32_t size, double value, int width, int decimals,
                   const char *unit) {
  FixedPiece piece;
  if (piece.fixed(value, width, decimals).text(unit).ok()) {
    append_text(text, size, piece.c_str());
    return;
  }
  append_piece(text, size, "%*.*f%s", width, decimals, value, unit);
}

} // namespace

void append_piece(char *text, int32_t size, const char *format, ...) {
  if (text == nullptr || size <= 0 || format == nullptr) {
    return;
  }
  char scratch[kPieceScratch];
  va_list args;
  va_start(args, format);
  const bool formatted = format_piece(scratch, sizeof scratch, format, args);
  va_end(args);
  if (formatted) {
    append_bounded(text, static_cast<std::size_t>(size), scratch);
  }
}

void append_text(char *text, int32_t size, const char *piece) {
  if (text == nullptr || size <= 0 || piece == nullptr) {
    return;
  }
  char scratch[kPieceScratch];
  const std::size_t n = strnlen(piece, kPieceScratch - 1);
  std::memcpy(scratch, piece, n);
  scratch[n] = '\0';
  append_bounded(text, static_cast<std::size_t>(size), scratch);
}

void xcvr_bytes_to_hex_string(char *text, int32_t size, const uint8_t *bytes, int32_t count) {
  if (text == nullptr || bytes == nullptr || count < 1) {
    return;
  }
  static constexpr char kDigits[] = "0123456789abcdef";
  char scratch[kPieceScratch];
  std::size_t used = 0;
  for (int32_t i = 0; i < count && i < kHexMaxBytes; ++i) {
    scratch[used++] = kDigits[bytes[i] >> 4];
    scratch[used++] = kDigits[bytes[i] & 0xf];
    scratch[used++] = ' ';
  }
  scratch[used] = '\0';
  append_text(text, size, scratch);
}

void xcvr_length_to_string(uint8_t length, uint32_t unit, char *text, int32_t size) {
  append_piece(text, size, "%u meter", length * unit);
}

void xcvr_percent_to_string(uint8_t percent, char *text, int32_t size) {
  append_piece(text, size, "%u%%", static_cast<unsigned>(percent));
}

void start_field(sfp_decoded_field &field, const char *name) {
  field = sfp_decoded_field{};
  copy_bounded(field.name, kFieldNameBound, name);
}

} // namespace sfpdrv

using namespace sfpdrv;

extern "C" SFPDRV_API void xcvr_oui_to_string(const uint8_t *oui, char *text, int32_t size) {
  if (oui == nullptr) {
    return;
  }
  append_piece(text, size, "%02x.%02x.%02x", oui[0], oui[1], oui[2]);
}

extern "C" SFPDRV_API void xcvr_decode_uint8_to_string(uint32_t value, char *text, int32_t size,
                                                       int32_t rows,
                                                       const xcvr_bit_decode_entry *table) {
  decode_bits(value & kLow8, text, size, rows, table);
}

extern "C" SFPDRV_API void xcvr_decode_uint16_to_string(uint32_t value, char *text, int32_t size,
                                                        int32_t rows,
                                                        const xcvr_bit_decode_entry *table) {
  decode_bits(value & kLow16, text, size, rows, table);
}

extern "C" SFPDRV_API void xcvr_decode_uint32_to_string(uint32_t value, char *text, int32_t size,
                                                        int32_t rows,
                                                        const xcvr_bit_decode_entry *table) {
  decode_bits(value, text, size, rows, table);
}

// Whole degrees by the arithmetic shift of the signed value; the low byte is
// always added as a positive count of thousandths.
extern "C" SFPDRV_API void xcvr_id_temp_to_string(uint32_t value, char *text, int32_t size) {
  const int whole = static_cast<int16_t>(value & kLow16) >> 8;
  const uint32_t thousandths = ((value & kLow8) * 1000) >> 8;
  append_piece(text, size, "%d.%03u C", whole, thousandths);
}

extern "C" SFPDRV_API uint32_t xcvr_id_signed_fixed_point16_to_float(uint32_t value, float *out) {
  const bool one = value == kFixedPointOne;
  if (out != nullptr) {
    *out = one ? 1.0F : signed_fixed_point(value);
  }
  return one ? 1 : 0;
}

extern "C" SFPDRV_API void xcvr_id_signed_fixed_point16_to_string(uint32_t value, char *text,
                                                                  int32_t size) {
  float number = 0.0F;
  if (xcvr_id_signed_fixed_point16_to_float(value, &number) != 0) {
    append_piece(text, size, "1.000");
    return;
  }
  append_number(text, size, static_cast<double>(number), 0, 3, "");
}

extern "C" SFPDRV_API uint32_t xcvr_id_unsigned_fixed_point16_to_float(uint32_t value, float *out) {
  const bool one = value == kFixedPointOne;
  if (out != nullptr) {
    *out = one ? 1.0F : unsigned_fixed_point(value);
  }
  return one ? 1 : 0;
}

extern "C" SFPDRV_API void xcvr_id_unsigned_fixed_point16_to_string(uint32_t value, char *text,
                                                                    int32_t size) {
  float number = 0.0F;
  if (xcvr_id_unsigned_fixed_point16_to_float(value, &number) != 0) {
    append_piece(text, size, "1.000");
    return;
  }
  append_number(text, size, static_cast<double>(number), 0, 3, "");
}

extern "C" SFPDRV_API void xcvr_curr_bias_uint16_to_string(uint32_t value, char *text,
                                                           int32_t size) {
  append_number(text, size, static_cast<double>(milliamps_of(value)), 3, 3, " mAmps");
}

extern "C" SFPDRV_API void xcvr_curr_bias_uint16_to_value(uint32_t value, float *milliamps) {
  if (milliamps != nullptr) {
    *milliamps = milliamps_of(value);
  }
}

extern "C" SFPDRV_API void xcvr_voltage_to_string(uint32_t value, char *text, int32_t size) {
  append_number(text, size, static_cast<double>(volts_of(value)), 1, 3, " Volt");
}

extern "C" SFPDRV_API void xcvr_voltage_to_value(uint32_t value, float *volts) {
  if (volts != nullptr) {
    *volts = volts_of(value);
  }
}

extern "C" SFPDRV_API void xcvr_id_power_to_string(uint32_t value, char *text, int32_t size) {
  append_piece(text, size, "%u uWatt", value / 10);
}

// Below 1 uW the logarithm is not shown: the piece gives the floor instead.
extern "C" SFPDRV_API void xcvr_pwr_uint16_to_dbm_string(uint32_t value, char *text, int32_t size) {
  const double milliwatts = value * kMilliwattsPerStep;
  if (milliwatts < kSmallestMilliwatts) {
    append_piece(text, size, " 0.000 mW (<-40.00 dBm)");
    return;
  }
  const auto dbm = static_cast<double>(dbm_of(milliwatts));
  FixedPiece piece;
  if (piece.text(" ").fixed(milliwatts, 0, 5).text(" mW (").fixed(dbm, 2, 5).text(" dBm)").ok()) {
    append_text(text, size, piece.c_str());
    return;
  }
  append_piece(text, size, " %0.5f mW (%2.5f dBm)", milliwatts, dbm);
}

extern "C" SFPDRV_API void xcvr_pwr_uint16_to_dbm_value(uint32_t value, float *dbm) {
  if (dbm == nullptr) {
    return;
  }
  const uint32_t raw = value & kLow16;
  *dbm = raw == 0 ? kFloorDbm : dbm_of(raw * kMilliwattsPerStep);
}

extern "C" SFPDRV_API uint32_t sfp_convert_pwr_to_envmon(uint32_t value) {
  return value / 10; // microwatts
}

extern "C" SFPDRV_API uint32_t sfp_convert_bias_to_envmon(uint32_t value) {
  return value / 500; // whole milliamperes
}

extern "C" SFPDRV_API uint32_t sfp_convert_vcc_to_envmon(uint32_t value) {
  return value / 10; // millivolts
}

// Tenths of a degree: the signed whole degrees, plus the fraction rounded
// down to tenths (so -0.5 degree, 0xff80, gives -10 + 5 = -5).
extern "C" SFPDRV_API int32_t sfp_convert_temp_to_envmon(uint32_t value) {
  const auto whole = static_cast<int8_t>((value >> 8) & kLow8);
  const auto tenths = static_cast<int32_t>(((value & kLow8) * 1000) / 25600);
  return whole * 10 + tenths;
}

extern "C" SFPDRV_API const char *sfp_eeprom_get_cmn_str_name(uint32_t index) {
  return index < kCommonStringNames.size() ? kCommonStringNames.at(index) : "Unknown";
}

// A blank-padded text field: copied as far as its first blank. A field that
// does not begin with a printable character is taken as empty.
extern "C" SFPDRV_API sfp_rc sfp_eeprom_get_n_trim_str(char *dest, const uint8_t *source,
                                                       uint16_t length) {
  if (dest == nullptr || source == nullptr || length == 0) {
    return SFP_RC_INVALID;
  }
  if (!printable(source[0])) {
    dest[0] = '\0';
    return SFP_RC_OK;
  }
  const std::size_t used = std::strlen(dest);
  const std::size_t copied = strnlen(reinterpret_cast<const char *>(source), length);
  std::memcpy(dest + used, source, copied);
  dest[used + copied] = '\0';
  for (std::size_t i = 0; i < length && dest[i] != '\0'; ++i) {
    if (dest[i] == ' ') {
      dest[i] = '\0';
      break;
    }
  }
  return SFP_RC_OK;
}
