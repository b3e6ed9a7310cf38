// Trace service: named ring buffers of variable-size trace records.
//
// A buffer is a byte ring of exactly the size it was opened with (rounded
// down to 8 bytes). Each record is a fixed header followed by its packed
// arguments: 4 bytes for a "d", sizeof(uintptr_t) bytes for a "D", and for
// an "s" one length byte followed by the characters (no terminator), cut to
// PELOG_MAX_STRING. Records start on 8-byte boundaries and are never split
// across the end of the ring: when a record does not fit before the end, a
// wrap marker (a header size of 0) is left in the unused tail, or nothing
// when the record ends exactly at the end, and the record goes to offset 0.
// Room is made by dropping the oldest records, which are counted.
//
// Writing copies the arguments only; the text is formatted when a buffer is
// shown, from a snapshot taken under the buffer's lock so that writers are
// held up only for the copy.
//
// Error codes: 22 for a bad argument, 12 when memory runs out, and 90 for a
// record larger than the whole buffer (it could never be stored).
#include "platform/pelog.h"

#include "platform/evm.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr int kErrInvalid = 22;
constexpr int kErrNoMemory = 12;
constexpr int kErrIo = 5;
constexpr int kErrTooLarge = 90;

// Smallest and largest buffer sizes accepted. Buffers are never freed, so a
// huge size is a caller error rather than something to attempt.
constexpr uint32_t kMinSize = 256;
constexpr uint32_t kMaxSize = 1u << 28;

constexpr uint32_t kAlign = 8;

struct RecordHeader {
  uint32_t size; // bytes of the record with this header, a multiple of kAlign; 0 marks a wrap
  uint32_t msg_no;
  uint64_t seq;
  const char *signature;
  const char *format;
};
static_assert(sizeof(RecordHeader) % kAlign == 0, "records must stay aligned");
constexpr uint32_t kHeaderSize = sizeof(RecordHeader);

constexpr const char *kNullString = "(null)";
constexpr const char *kBadRecord = " <bad record>";

constexpr size_t align_up(size_t n) {
  return (n + kAlign - 1) & ~static_cast<size_t>(kAlign - 1);
}

} // namespace

namespace {

// The lock of one buffer. Writers hold it only to copy a record of a few
// dozen bytes, so a waiter spins briefly and then yields; taking and
// releasing it is one atomic exchange and one store, half of a mutex's cost
// on the path every trace record takes.
class RecordLock {
public:
  void lock() {
    for (int spins = 0; held_.exchange(true, std::memory_order_acquire); ++spins) {
      while (held_.load(std::memory_order_relaxed)) {
        if (++spins > kSpinsBeforeYield) {
          std::this_thread::yield();
        }
      }
    }
  }
  void unlock() { held_.store(false, std::memory_order_release); }

private:
  static constexpr int kSpinsBeforeYield = 64;
  std::atomic<bool> held_{false};
};

} // namespace

struct pelog_buffer {
  pelog_buffer(std::string buffer_name, uint32_t capacity_bytes)
      : name(std::move(buffer_name)), capacity(capacity_bytes),
        words(new uint64_t[capacity_bytes / sizeof(uint64_t)]) {}

  const std::string name;
  const uint32_t capacity;                 // usable bytes, a multiple of kAlign
  RecordLock lock;                         // held to write a record or to take a snapshot
  const std::unique_ptr<uint64_t[]> words; // the ring storage, 8-byte aligned
  uint32_t head = 0;                       // offset of the oldest record
  uint32_t tail = 0;                       // offset where the next record goes
  size_t count = 0;                        // records held
  uint64_t dropped = 0;                    // records dropped since the last clear
  uint64_t seq = 0;                        // sequence number of the next record

  unsigned char *bytes() { return reinterpret_cast<unsigned char *>(words.get()); }

  uint32_t size_at(uint32_t offset) {
    uint32_t size = 0;
    std::memcpy(&size, bytes() + offset, sizeof size);
    return size;
  }

  // The offset of the record at or after `offset`, following a wrap.
  uint32_t resolve(uint32_t offset) {
    if (offset == capacity || size_at(offset) == 0) {
      return 0;
    }
    return offset;
  }

  // Drops the record at head; head then names the next record, if any.
  void drop_oldest() {
    head += size_at(head);
    --count;
    ++dropped;
    if (count != 0) {
      head = resolve(head);
    }
  }

  // Makes room for `size` bytes (size <= capacity, a multiple of kAlign) and
  // returns their offset; the caller fills the record. Caller holds the lock.
  uint32_t reserve(uint32_t size) {
    for (;;) {
      if (count == 0) {
        head = 0;
        tail = 0;
        break;
      }
      if (head < tail) {
        // Records occupy [head, tail): free space is after tail, then before head.
        if (capacity - tail >= size) {
          break;
        }
        if (tail < capacity) {
          const uint32_t marker = 0;
          std::memcpy(bytes() + tail, &marker, sizeof marker);
        }
        tail = 0;
        continue;
      }
      // Wrapped: records occupy [head, end) and [0, tail); free is [tail, head).
      if (head - tail >= size) {
        break;
      }
      drop_oldest();
    }
    const uint32_t offset = tail;
    tail += size;
    ++count;
    return offset;
  }
};

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::string, pelog_buffer *, std::less<>> buffers;
  std::map<std::string, int, std::less<>> failures;
};

// Leaked on purpose: buffers must outlive every thread that may still trace
// while the process exits.
Registry &registry() {
  static Registry *instance = new Registry;
  return *instance;
}

// The analyser does not follow a va_list started by the caller and handed
// over by pointer; both readers below only run on one started in pelog_write.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized)

// Stores a record's header field by field: building the header whole and
// copying it makes the copy wait on the stores that built it.
void write_header(unsigned char *record, uint32_t size, uint32_t msg_no, uint64_t seq,
                  const char *signature, const char *format) {
  std::memcpy(record + offsetof(RecordHeader, size), &size, sizeof size);
  std::memcpy(record + offsetof(RecordHeader, msg_no), &msg_no, sizeof msg_no);
  std::memcpy(record + offsetof(RecordHeader, seq), &seq, sizeof seq);
  std::memcpy(record + offsetof(RecordHeader, signature), &signature, sizeof signature);
  std::memcpy(record + offsetof(RecordHeader, format), &format, sizeof format);
}

// The bytes that the arguments of a signature without strings take in a
// record; false for an unknown signature letter.
bool measure_fixed_args(const char *signature, size_t *out) {
  size_t size = 0;
  for (const char *s = signature; *s != '\0'; ++s) {
    if (*s == 'd') {
      size += sizeof(int32_t);
    } else if (*s == 'D') {
      size += sizeof(uintptr_t);
    } else {
      return false;
    }
  }
  *out = size;
  return true;
}

// The bytes that the arguments of `signature` take in a record, read from
// `args`; false for an unknown signature letter.
bool measure_args(const char *signature, va_list *args, size_t *out) {
  size_t size = 0;
  for (const char *s = signature; *s != '\0'; ++s) {
    switch (*s) {
    case 'd':
      static_cast<void>(va_arg(*args, int));
      size += sizeof(int32_t);
      break;
    case 'D':
      static_cast<void>(va_arg(*args, uintptr_t));
      size += sizeof(uintptr_t);
      break;
    case 's': {
      const char *text = va_arg(*args, const char *);
      size += 1 + strnlen(text != nullptr ? text : kNullString, PELOG_MAX_STRING);
      break;
    }
    default:
      return false;
    }
  }
  *out = size;
  return true;
}

// Packs the arguments of a signature without strings into `out`, which
// has room for them (as measured).
void pack_fixed_args(const char *signature, va_list *args, unsigned char *out) {
  for (const char *s = signature; *s != '\0'; ++s) {
    if (*s == 'd') {
      const auto value = static_cast<int32_t>(va_arg(*args, int));
      std::memcpy(out, &value, sizeof value);
      out += sizeof value;
    } else {
      const uintptr_t value = va_arg(*args, uintptr_t);
      std::memcpy(out, &value, sizeof value);
      out += sizeof value;
    }
  }
}

// Packs the arguments of `signature` into `out` (`room` bytes, as measured).
// A string that changed since it was measured is cut so that every later
// argument still fits: `owed` is what the arguments not yet packed need at
// the least (their fixed bytes and one length byte per string).
void pack_args(const char *signature, va_list *args, unsigned char *out, size_t room) {
  size_t owed = 0;
  for (const char *s = signature; *s != '\0'; ++s) {
    owed += *s == 'd' ? sizeof(int32_t) : *s == 'D' ? sizeof(uintptr_t) : 1;
  }
  auto put = [&](const auto value) {
    std::memcpy(out, &value, sizeof value);
    out += sizeof value;
    room -= sizeof value;
    owed -= sizeof value;
  };
  for (const char *s = signature; *s != '\0'; ++s) {
    switch (*s) {
    case 'd':
      put(static_cast<int32_t>(va_arg(*args, int)));
      break;
    case 'D':
      put(va_arg(*args, uintptr_t));
      break;
    default: {
      const char *text = va_arg(*args, const char *);
      if (text == nullptr) {
        text = kNullString;
      }
      owed -= 1;
      const size_t length = std::min(strnlen(text, PELOG_MAX_STRING), room - owed - 1);
      *out = static_cast<unsigned char>(length);
      std::memcpy(out + 1, text, length);
      out += length + 1;
      room -= length + 1;
      break;
    }
    }
  }
}
// NOLINTEND(clang-analyzer-valist.Uninitialized)

// Reads a record's packed arguments in signature order, checking bounds.
class ArgCursor {
public:
  ArgCursor(const char *signature, const unsigned char *args, size_t size)
      : letter_(signature), at_(args), end_(args + size) {}

  bool at_end() const { return *letter_ == '\0'; }

  bool take_int(int32_t *value) { return take_fixed('d', value); }
  bool take_wide(uintptr_t *value) { return take_fixed('D', value); }

  // Copies the next string argument, NUL-terminated, into `text`.
  bool take_string(char (&text)[PELOG_MAX_STRING + 1]) {
    if (*letter_ != 's' || at_ == end_) {
      return false;
    }
    const size_t length = *at_;
    if (length > PELOG_MAX_STRING || static_cast<size_t>(end_ - at_) < length + 1) {
      return false;
    }
    std::memcpy(text, at_ + 1, length);
    text[length] = '\0';
    at_ += length + 1;
    ++letter_;
    return true;
  }

private:
  template <typename T> bool take_fixed(char letter, T *value) {
    if (*letter_ != letter || static_cast<size_t>(end_ - at_) < sizeof(T)) {
      return false;
    }
    std::memcpy(value, at_, sizeof(T));
    at_ += sizeof(T);
    ++letter_;
    return true;
  }

  const char *letter_;
  const unsigned char *at_;
  const unsigned char *end_;
};

// One conversion of a format, as pieces of the format text.
struct Conversion {
  std::string_view flags;
  std::string_view width;
  std::string_view precision; // with its '.', or empty
  std::string_view length;    // "", "h", "hh", "l", "ll" or "z"
  char letter = 0;

  bool is_long() const { return length == "l" || length == "ll" || length == "z"; }
};

bool is_flag(char c) {
  return c == '-' || c == '+' || c == ' ' || c == '#' || c == '0';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Longest run of flags, and of width or precision digits, accepted. This
// bounds the rebuilt conversion and keeps a broken format from asking for
// an enormous field.
constexpr size_t kMaxFlags = 8;
constexpr size_t kMaxFieldDigits = 4;

// Parses the conversion after a '%' at `*at`; on success *at is past it.
bool parse_conversion(const char **at, Conversion *conv) {
  const char *f = *at;
  const auto span = [&f](bool (*accept)(char)) {
    const char *begin = f;
    while (accept(*f)) {
      ++f;
    }
    return std::string_view(begin, static_cast<size_t>(f - begin));
  };
  conv->flags = span(is_flag);
  conv->width = span(is_digit);
  if (*f == '.') {
    const char *dot = f++;
    conv->precision = std::string_view(dot, span(is_digit).size() + 1);
  }
  if (conv->flags.size() > kMaxFlags || conv->width.size() > kMaxFieldDigits ||
      conv->precision.size() > kMaxFieldDigits + 1) {
    return false;
  }
  const char *length = f;
  if (*f == 'h' || *f == 'l') {
    f += f[1] == *f ? 2 : 1;
  } else if (*f == 'z') {
    ++f;
  }
  conv->length = std::string_view(length, static_cast<size_t>(f - length));
  if (*f == '\0') {
    return false;
  }
  conv->letter = *f++;
  *at = f;
  return true;
}

// A single printf conversion rebuilt from the pieces of a Conversion.
class SingleFormat {
public:
  SingleFormat &operator<<(std::string_view piece) {
    for (const char c : piece) {
      *this << c;
    }
    return *this;
  }
  SingleFormat &operator<<(char c) {
    if (length_ + 1 < sizeof text_) {
      text_[length_++] = c;
      text_[length_] = '\0';
    }
    return *this;
  }
  const char *c_str() const { return text_; }

private:
  // '%', the bounded flags, width and precision, two length letters, the
  // conversion letter and the terminator.
  char text_[1 + kMaxFlags + 2 * kMaxFieldDigits + 1 + 2 + 1 + 1] = "%";
  size_t length_ = 1;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
// Appends one value formatted by the single conversion `format`.
template <typename T> bool append_formatted(std::string &out, const SingleFormat &format, T value) {
  char local[128];
  const int n = std::snprintf(local, sizeof local, format.c_str(), value);
  if (n < 0) {
    return false;
  }
  const auto length = static_cast<size_t>(n);
  if (length < sizeof local) {
    out.append(local, length);
    return true;
  }
  std::string wide(length + 1, '\0');
  std::snprintf(wide.data(), wide.size(), format.c_str(), value);
  out.append(wide.data(), length);
  return true;
}
#pragma GCC diagnostic pop

// Renders an integer conversion: 32-bit ("d") arguments, or pointer-sized
// ("D") ones under an 'l', 'll' or 'z' modifier, printed through long long.
bool render_integer(const Conversion &conv, ArgCursor &args, std::string &out) {
  SingleFormat format;
  format << conv.flags << conv.width;
  const bool is_signed = conv.letter == 'd' || conv.letter == 'i';
  if (conv.is_long()) {
    uintptr_t value = 0;
    if (!args.take_wide(&value)) {
      return false;
    }
    if (conv.letter == 'c') {
      return append_formatted(out, format << 'c', static_cast<int>(value & 0xffu));
    }
    format << conv.precision << "ll" << conv.letter;
    if (is_signed) {
      return append_formatted(out, format, static_cast<long long>(static_cast<intptr_t>(value)));
    }
    return append_formatted(out, format, static_cast<unsigned long long>(value));
  }
  int32_t value = 0;
  if (!args.take_int(&value)) {
    return false;
  }
  if (conv.letter == 'c') {
    return append_formatted(out, format << 'c', static_cast<int>(value));
  }
  format << conv.precision << conv.length << conv.letter;
  if (is_signed) {
    return append_formatted(out, format, static_cast<int>(value));
  }
  return append_formatted(out, format, static_cast<unsigned int>(value));
}

// Renders one conversion with the next argument; false when the argument
// does not match it or the conversion is not one that records carry.
bool render_conversion(const Conversion &conv, ArgCursor &args, std::string &out) {
  switch (conv.letter) {
  case 'd':
  case 'i':
  case 'u':
  case 'x':
  case 'X':
  case 'o':
  case 'c':
    return render_integer(conv, args, out);
  case 'p': {
    // Plain hex digits: the messages print their own "0x" before a %p.
    uintptr_t value = 0;
    if (!args.take_wide(&value)) {
      return false;
    }
    SingleFormat format;
    for (const char flag : conv.flags) {
      if (flag != '#') {
        format << flag;
      }
    }
    format << conv.width << conv.precision << "llx";
    return append_formatted(out, format, static_cast<unsigned long long>(value));
  }
  case 's': {
    char text[PELOG_MAX_STRING + 1];
    if (!args.take_string(text)) {
      return false;
    }
    SingleFormat format;
    format << conv.flags << conv.width << conv.precision << 's';
    return append_formatted(out, format, static_cast<const char *>(text));
  }
  default:
    return false;
  }
}

// Appends the text of one record. A record whose arguments do not match its
// format gets the text up to the mismatch and a marker.
void render_record(const char *format, const char *signature, const unsigned char *args,
                   size_t size, std::string &out) {
  ArgCursor cursor(signature, args, size);
  for (const char *f = format; *f != '\0';) {
    if (*f != '%') {
      const char *literal = f;
      while (*f != '\0' && *f != '%') {
        ++f;
      }
      out.append(literal, f);
      continue;
    }
    ++f;
    if (*f == '%') {
      out += '%';
      ++f;
      continue;
    }
    Conversion conv;
    if (!parse_conversion(&f, &conv) || !render_conversion(conv, cursor, out)) {
      out += kBadRecord;
      return;
    }
  }
  if (!cursor.at_end()) {
    out += kBadRecord;
  }
}

// The records of a buffer copied out in order, so that they can be
// rendered without holding the buffer's lock.
struct Snapshot {
  std::vector<unsigned char> bytes; // records back to back
  size_t count = 0;
  uint64_t dropped = 0;
};

Snapshot take_snapshot(pelog_buffer *buffer) {
  Snapshot snap;
  std::lock_guard<RecordLock> held(buffer->lock);
  snap.count = buffer->count;
  snap.dropped = buffer->dropped;
  snap.bytes.reserve(buffer->capacity);
  uint32_t at = buffer->head;
  for (size_t i = 0; i < buffer->count; ++i) {
    at = buffer->resolve(at);
    const uint32_t size = buffer->size_at(at);
    const unsigned char *record = buffer->bytes() + at;
    snap.bytes.insert(snap.bytes.end(), record, record + size);
    at += size;
  }
  return snap;
}

// Calls fn(header, text) for every record of the snapshot.
template <typename Fn> void visit(const Snapshot &snap, Fn &&fn) {
  std::string text;
  size_t at = 0;
  for (size_t i = 0; i < snap.count; ++i) {
    RecordHeader header;
    std::memcpy(&header, snap.bytes.data() + at, sizeof header);
    text.clear();
    render_record(header.format, header.signature, snap.bytes.data() + at + kHeaderSize,
                  header.size - kHeaderSize, text);
    fn(header, text);
    at += header.size;
  }
}

std::string render_all(pelog_buffer *buffer) {
  const Snapshot snap = take_snapshot(buffer);
  std::string out;
  if (snap.dropped != 0) {
    out.append("[").append(std::to_string(snap.dropped)).append(" older records dropped]\n");
  }
  visit(snap, [&out](const RecordHeader &, const std::string &text) {
    out += text;
    if (text.empty() || text.back() != '\n') {
      out += '\n';
    }
  });
  return out;
}

int show_command(void *ctx, FILE *out) {
  return pelog_show(static_cast<pelog_hdl>(ctx), out);
}

} // namespace

extern "C" {

int pelog_open(pelog_hdl *out, const char *name, uint32_t size, uint32_t mode,
               const char *directory, const char *catalog_id, uint32_t flags) {
  // The mode, directory, catalogue id and flags only identify the buffer to
  // a persistent trace service; buffers here live in memory.
  static_cast<void>(mode);
  static_cast<void>(directory);
  static_cast<void>(catalog_id);
  static_cast<void>(flags);
  if (out == nullptr || name == nullptr || *name == '\0' || size < kMinSize || size > kMaxSize) {
    return kErrInvalid;
  }
  Registry &reg = registry();
  try {
    std::lock_guard<std::mutex> lock(reg.mutex);
    const auto failure = reg.failures.find(name);
    if (failure != reg.failures.end()) {
      return failure->second;
    }
    const auto found = reg.buffers.find(name);
    if (found != reg.buffers.end()) {
      *out = found->second;
      return 0;
    }
    auto buffer = std::make_unique<pelog_buffer>(name, size & ~(kAlign - 1));
    reg.buffers.emplace(buffer->name, buffer.get());
    *out = buffer.release();
    return 0;
  } catch (const std::bad_alloc &) {
    return kErrNoMemory;
  }
}

// The record's layout follows from the signature alone, so `rec_size` is
// not needed here; `has_strings` 0 lets a record of fixed-size arguments be
// sized without walking its arguments.
int pelog_write(pelog_hdl buffer, uint32_t msg_no, uint32_t rec_size, uint32_t has_strings,
                const char *signature, const char *format, ...) {
  static_cast<void>(rec_size);
  if (buffer == nullptr || signature == nullptr || format == nullptr) {
    return kErrInvalid;
  }
  va_list args;
  va_start(args, format);
  size_t args_size = 0;
  bool known = false;
  if (has_strings == 0) {
    // Fixed-size arguments only: their size follows from the signature, so
    // the arguments need not be walked twice. A signature with a string
    // under this flag is refused.
    known = measure_fixed_args(signature, &args_size);
  } else {
    va_list sizing;
    va_copy(sizing, args);
    known = measure_args(signature, &sizing, &args_size);
    va_end(sizing);
  }
  if (!known) {
    va_end(args);
    return kErrInvalid;
  }
  const size_t total = align_up(kHeaderSize + args_size);
  if (total > buffer->capacity) {
    va_end(args);
    return kErrTooLarge;
  }
  {
    std::lock_guard<RecordLock> held(buffer->lock);
    const uint32_t offset = buffer->reserve(static_cast<uint32_t>(total));
    unsigned char *record = buffer->bytes() + offset;
    write_header(record, static_cast<uint32_t>(total), msg_no, buffer->seq++, signature, format);
    if (has_strings == 0) {
      pack_fixed_args(signature, &args, record + kHeaderSize);
    } else {
      pack_args(signature, &args, record + kHeaderSize, total - kHeaderSize);
    }
  }
  va_end(args);
  return 0;
}

int pelog_enable(pelog_hdl buffer, struct event_manager *manager) {
  if (buffer == nullptr || manager == nullptr) {
    return kErrInvalid;
  }
  try {
    std::string command = "show pelog ";
    command += buffer->name;
    return event_manager_register(manager, command.c_str(), show_command, buffer);
  } catch (const std::bad_alloc &) {
    return kErrNoMemory;
  }
}

pelog_hdl pelog_find(const char *name) {
  if (name == nullptr) {
    return nullptr;
  }
  Registry &reg = registry();
  std::lock_guard<std::mutex> lock(reg.mutex);
  const auto found = reg.buffers.find(name);
  return found != reg.buffers.end() ? found->second : nullptr;
}

const char *pelog_name(pelog_hdl buffer) {
  return buffer != nullptr ? buffer->name.c_str() : nullptr;
}

size_t pelog_text(pelog_hdl buffer, char *text, size_t size) {
  std::string rendering;
  if (buffer != nullptr) {
    try {
      rendering = render_all(buffer);
    } catch (const std::bad_alloc &) {
      rendering.clear();
    }
  }
  if (text != nullptr && size != 0) {
    const size_t n = rendering.size() < size ? rendering.size() : size - 1;
    std::memcpy(text, rendering.data(), n);
    text[n] = '\0';
  }
  return rendering.size();
}

int pelog_show(pelog_hdl buffer, FILE *out) {
  if (buffer == nullptr || out == nullptr) {
    return kErrInvalid;
  }
  try {
    const std::string rendering = render_all(buffer);
    if (std::fwrite(rendering.data(), 1, rendering.size(), out) != rendering.size()) {
      return kErrIo;
    }
    return 0;
  } catch (const std::bad_alloc &) {
    return kErrNoMemory;
  }
}

size_t pelog_for_each(pelog_hdl buffer, pelog_record_fn fn, void *ctx) {
  if (buffer == nullptr || fn == nullptr) {
    return 0;
  }
  try {
    const Snapshot snap = take_snapshot(buffer);
    visit(snap, [fn, ctx](const RecordHeader &header, const std::string &text) {
      fn(ctx, header.msg_no, header.signature, text.c_str());
    });
    return snap.count;
  } catch (const std::bad_alloc &) {
    return 0;
  }
}

size_t pelog_count(pelog_hdl buffer) {
  if (buffer == nullptr) {
    return 0;
  }
  std::lock_guard<RecordLock> held(buffer->lock);
  return buffer->count;
}

uint64_t pelog_dropped(pelog_hdl buffer) {
  if (buffer == nullptr) {
    return 0;
  }
  std::lock_guard<RecordLock> held(buffer->lock);
  return buffer->dropped;
}

void pelog_clear(pelog_hdl buffer) {
  if (buffer == nullptr) {
    return;
  }
  std::lock_guard<RecordLock> held(buffer->lock);
  buffer->head = 0;
  buffer->tail = 0;
  buffer->count = 0;
  buffer->dropped = 0;
}

void pelog_fail_open(const char *name, int rc) {
  if (name == nullptr) {
    return;
  }
  Registry &reg = registry();
  try {
    std::lock_guard<std::mutex> lock(reg.mutex);
    if (rc == 0) {
      reg.failures.erase(std::string(name));
    } else {
      reg.failures[name] = rc;
    }
  } catch (const std::bad_alloc &) {
    // The failure cannot be armed; opens keep succeeding.
  }
}

} // extern "C"
