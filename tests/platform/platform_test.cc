// The platform layer: trace buffers, event manager, block marks and the clock.
#include "platform/evm.h"
#include "platform/pelog.h"
#include "platform/psleep.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

constexpr int kInvalid = 22;

pelog_hdl open_buffer(const std::string &name, uint32_t size = 65536) {
  pelog_hdl buffer = nullptr;
  EXPECT_EQ(pelog_open(&buffer, name.c_str(), size, 0, "/tmp", "test", 0), 0);
  return buffer;
}

int put(pelog_hdl buffer, uint32_t msg_no, const char *signature, const char *format,
        auto... args) {
  const uint32_t has_strings = signature != nullptr && std::strchr(signature, 's') != nullptr;
  return pelog_write(buffer, msg_no, 0, has_strings, signature, format, args...);
}

std::string text_of(pelog_hdl buffer) {
  std::string text(pelog_text(buffer, nullptr, 0) + 1, '\0');
  text.resize(pelog_text(buffer, text.data(), text.size()));
  return text;
}

// Every record as "MSG_NO SIGNATURE TEXT", in order.
std::vector<std::string> records_of(pelog_hdl buffer) {
  std::vector<std::string> records;
  const size_t visited = pelog_for_each(
      buffer,
      [](void *ctx, uint32_t msg_no, const char *signature, const char *text) {
        static_cast<std::vector<std::string> *>(ctx)->push_back(std::to_string(msg_no) + " " +
                                                                signature + " " + text);
      },
      &records);
  EXPECT_EQ(visited, records.size());
  return records;
}

// Runs fn(0) .. fn(count - 1) on threads of their own and waits for them.
template <typename Fn> void in_threads(unsigned count, Fn fn) {
  std::vector<std::jthread> threads;
  for (unsigned t = 0; t < count; ++t) {
    threads.emplace_back(fn, t);
  }
}

// The conversions the library's messages use, then records that do not
// match their format, which render up to the mismatch.
TEST(Pelog, RendersTheConversionsInUseAndCutsBadRecordsAtTheMismatch) {
  pelog_hdl b = open_buffer("test.render");
  std::vector<std::string> records; // as for_each gives them: no newline added
  std::string text;                 // as the text shows them
  auto row = [&](const std::string &want, const char *signature, const char *format, auto... args) {
    const uint32_t msg_no = static_cast<uint32_t>(records.size() + 1);
    EXPECT_EQ(put(b, msg_no, signature, format, args...), 0) << format;
    records.push_back(std::to_string(msg_no) + " " + signature + " " + want);
    text += want + (want.ends_with('\n') ? "" : "\n");
  };
  row("addr 0x123456789abc 7", "Dd", "addr 0x%p %d", uintptr_t{0x123456789abc}, 7);
  row("null 0.", "D", "null %p.", uintptr_t{0});
  row("ff -7", "dd", "%x %d", 255, -7);
  row("(null) abc", "ss", "%s %s", static_cast<const char *>(nullptr), "abc");
  row("ends with a newline\n", "", "ends with a newline\n");
  row(std::string(PELOG_MAX_STRING, 'q'), "s", "%s", std::string(400, 'q').c_str());
  row("5  <bad record>", "dd", "%d %s!", 5, 6); // int where a string is due
  row("1  <bad record>", "d", "%d %d", 1);      // too few arguments
  row("fine 8", "d", "fine %d", 8);
  // printf's other conversions: precision, width and flags, characters, a
  // literal percent sign, and '#' dropped before a pointer's own "0x".
  row("   ab|-7  |", "sd", "%5.2s|%-4d|", "abc", -7);
  row("hi 100%", "dd", "%c%c 100%%", 'h', 'i');
  row("0x   1f", "D", "0x%#5p", uintptr_t{0x1f});
  EXPECT_EQ(records_of(b), records);
  EXPECT_EQ(text_of(b), text);
  char small[5] = "####"; // snprintf semantics: cut, terminated, full length returned
  EXPECT_EQ(pelog_text(b, small, sizeof small), text.size());
  EXPECT_STREQ(small, "addr");
  EXPECT_EQ(pelog_for_each(b, nullptr, nullptr), 0u);
}

// A null buffer is refused by every call that takes one, with nothing
// touched.
TEST(Pelog, NullBuffersAreRefused) {
  EXPECT_EQ(pelog_count(nullptr), 0u);
  EXPECT_EQ(pelog_dropped(nullptr), 0u);
  pelog_clear(nullptr);
  EXPECT_EQ(pelog_show(nullptr, stdout), kInvalid);
  EXPECT_EQ(pelog_show(open_buffer("test.null"), nullptr), kInvalid);
  EXPECT_EQ(pelog_find(nullptr), nullptr);
  pelog_fail_open(nullptr, 5);
  EXPECT_EQ(pelog_text(nullptr, nullptr, 0), 0u);
}

TEST(Pelog, FullRingDropsOldestAndKeepsNewestIntact) {
  pelog_hdl b = open_buffer("test.ring");
  // Varying lengths wrap at varying offsets; a full ring drops only what it must.
  std::vector<std::string> written;
  size_t most = 0;
  size_t fewest_when_full = SIZE_MAX;
  for (int i = 0; i < 5000; ++i) {
    const std::string payload(static_cast<size_t>(i * 37 % 200), 'z');
    ASSERT_EQ(put(b, 7, "ds", "%d %s", i, payload.c_str()), 0);
    written.push_back("7 ds " + std::to_string(i) + " " + payload);
    most = std::max(most, pelog_count(b));
    fewest_when_full =
        pelog_dropped(b) != 0 ? std::min(fewest_when_full, pelog_count(b)) : SIZE_MAX;
  }
  // Stays nearly full; 64 KiB holds more than 200 records of < 300 bytes.
  EXPECT_GT(fewest_when_full, std::max<size_t>(200, most * 3 / 4));
  const uint64_t dropped = pelog_dropped(b);
  const size_t kept = pelog_count(b);
  EXPECT_EQ(kept + dropped, written.size());
  EXPECT_EQ(records_of(b), std::vector<std::string>(written.end() - kept, written.end()));
  // Built piecewise: GCC 12 warns wrongly about "[" + std::string at -O2.
  std::string header = std::to_string(dropped);
  header.insert(0, 1, '[');
  header += " older records dropped]\n";
  EXPECT_TRUE(text_of(b).starts_with(header));
  pelog_clear(b); // no records, no drops
  ASSERT_EQ(put(b, 7, "d", "after %d", 1), 0);
  EXPECT_EQ(text_of(b), "after 1\n");
}

TEST(Pelog, OpenAttachesByNameAndRefusesBadArguments) {
  pelog_hdl b = nullptr;
  EXPECT_EQ(pelog_open(nullptr, "test.args", 65536, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(pelog_open(&b, nullptr, 65536, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(pelog_open(&b, "test.args", 0, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(pelog_open(&b, "test.args", 255, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(pelog_find("test.args"), nullptr);

  // Opening again attaches by name (keeping the size), unless made to fail.
  pelog_hdl first = open_buffer("test.reopen", 256);
  pelog_hdl again = open_buffer("test.reopen", 65536);
  EXPECT_EQ(first, again);
  EXPECT_EQ(pelog_find("test.reopen"), first);
  EXPECT_STREQ(pelog_name(first), "test.reopen");
  const std::string half(150, 'r'); // two cannot fit the 256 bytes of the first open
  ASSERT_EQ(put(again, 1, "s", "%s", half.c_str()), 0);
  ASSERT_EQ(put(again, 2, "s", "%s", half.c_str()), 0);
  EXPECT_EQ(text_of(again), "[1 older records dropped]\n" + half + "\n");
  pelog_fail_open("test.reopen", 5);
  pelog_fail_open("test.fail_new", 12);
  EXPECT_EQ(pelog_open(&b, "test.reopen", 65536, 0, nullptr, nullptr, 0), 5);
  EXPECT_EQ(pelog_open(&b, "test.fail_new", 65536, 0, nullptr, nullptr, 0), 12);
  EXPECT_EQ(b, nullptr); // untouched by any failed open
  pelog_fail_open("test.reopen", 0);
  EXPECT_EQ(pelog_open(&b, "test.reopen", 65536, 0, nullptr, nullptr, 0), 0);
  EXPECT_EQ(b, first);

  b = open_buffer("test.args", 256);
  EXPECT_EQ(put(static_cast<pelog_hdl>(nullptr), 1, "d", "%d", 1), kInvalid);
  EXPECT_EQ(pelog_write(b, 1, 0, 0, nullptr, "%d", 1), kInvalid);
  EXPECT_EQ(put(b, 1, "dx", "%d %x", 1, 2), kInvalid);
  // A string under a flag that says there is none.
  EXPECT_EQ(pelog_write(b, 1, 0, 0, "ds", "%d %s", 1, "text"), kInvalid);
  const std::string full(PELOG_MAX_STRING, 'a'); // two cannot fit 256 bytes
  EXPECT_NE(put(b, 1, "ss", "%s%s", full.c_str(), full.c_str()), 0);
  EXPECT_EQ(pelog_count(b), 0u);
  EXPECT_EQ(pelog_enable(b, nullptr), kInvalid);
  char text[4] = "xyz";
  EXPECT_EQ(pelog_text(nullptr, text, sizeof text), 0u);
  EXPECT_STREQ(text, "");
}

// Writers race a reader (the last thread), in a buffer that keeps all and one that wraps.
TEST(Pelog, ConcurrentWritersLoseNoRecordAndReadersSeeNoTornOne) {
  constexpr unsigned kWriters = 4;
  constexpr int kEach = 3000;
  for (const uint32_t size : {1u << 22, 4096u}) {
    pelog_hdl b = open_buffer("test.race." + std::to_string(size), size);
    bool torn = false;
    in_threads(kWriters + 1, [&](unsigned t) {
      for (int i = 0; t < kWriters && i < kEach; ++i) {
        put(b, t, "dsD", "%d %s %lx", i, i % 2 != 0 ? "odd" : "even", uintptr_t{0xabc});
      }
      for (int round = 0; t == kWriters && round < (size > 4096 ? 5 : 50) && !torn; ++round) {
        torn = text_of(b).find("<bad record>") != std::string::npos;
      }
    });
    EXPECT_FALSE(torn) << size;
    EXPECT_EQ(pelog_count(b) + pelog_dropped(b), uint64_t{kWriters * kEach}) << size;
  }
  // The large buffer keeps every writer's records, whole and in its order.
  std::vector<int> next(kWriters, 0);
  for (const std::string &record : records_of(pelog_find("test.race.4194304"))) {
    const unsigned t = std::min(kWriters - 1, static_cast<unsigned>(std::stoul(record)));
    const int i = next[t]++;
    ASSERT_EQ(record, std::to_string(t) + " dsD " + std::to_string(i) +
                          (i % 2 != 0 ? " odd abc" : " even abc"));
  }
  EXPECT_EQ(next, std::vector<int>(kWriters, kEach));
}

// Runs `command`; its output, or "status N" when that is not 0.
std::string run(event_manager *manager, const char *command) {
  char text[64] = {};
  FILE *out = fmemopen(text, sizeof text, "w");
  const int status = event_manager_run(manager, command, out);
  std::fclose(out);
  return status == 0 ? text : "status " + std::to_string(status);
}

TEST(EventManager, RunsRegisteredCommandsAndRefusesBadHandles) {
  event_manager *manager = event_manager_create(nullptr);
  ASSERT_NE(manager, nullptr);
  const event_command_fn say = [](void *ctx, FILE *out) {
    return std::fputs(static_cast<const char *>(ctx), out) < 0 ? 5 : 0;
  };
  const event_command_fn fail = [](void *, FILE *) { return 17; };
  char a[] = "a", b[] = "b";
  ASSERT_EQ(event_manager_register(manager, "first", say, a), 0);
  ASSERT_EQ(event_manager_register(manager, "second", fail, a), 0);
  ASSERT_EQ(event_manager_register(manager, "first", say, b), 0); // replaces
  ASSERT_EQ(event_manager_command_count(manager), 2u);
  EXPECT_STREQ(event_manager_command_name(manager, 0), "first");
  EXPECT_STREQ(event_manager_command_name(manager, 1), "second");
  EXPECT_EQ(event_manager_command_name(manager, 2), nullptr);
  EXPECT_EQ(run(manager, "first"), "b");
  EXPECT_EQ(run(manager, "second"), "status 17");
  EXPECT_EQ(run(manager, "third"), "status 2");
  EXPECT_EQ(event_manager_register(manager, "x", nullptr, a), kInvalid);

  // A trace buffer registers its show command.
  pelog_hdl trace = open_buffer("test.enable");
  ASSERT_EQ(put(trace, 1, "d", "shown %d", 1), 0);
  ASSERT_EQ(pelog_enable(trace, manager), 0);
  EXPECT_EQ(run(manager, "show pelog test.enable"), "shown 1\n");

  // Only live managers are handles; a stale one is refused rather than used.
  EXPECT_EQ(event_manager_get(manager), manager);
  EXPECT_EQ(event_manager_get(a), nullptr);
  EXPECT_EQ(event_manager_get(nullptr), nullptr);
  event_manager_destroy(manager);
  EXPECT_EQ(event_manager_get(manager), nullptr);
  EXPECT_EQ(event_manager_register(manager, "x", say, a), kInvalid);
  event_manager_destroy(manager);
}

// Milliseconds counted, number of waits and the waits logged.
using ClockState = std::tuple<uint64_t, uint64_t, std::vector<uint32_t>>;
ClockState clock_state() {
  std::vector<uint32_t> waits(8);
  waits.resize(std::min(waits.size(), platform_clock_waits(waits.data(), waits.size())));
  return {platform_clock_elapsed_ms(), platform_clock_wait_count(), waits};
}

// No fatal assertion: the clock is left real and reset whatever happens.
TEST(Clock, WaitsAreCountedLoggedAndHookedVirtualOnesWithoutSleeping) {
  platform_clock_reset();
  // A real sleep counts too, and its hook comes before it: the whole wait
  // lies between the hook and the return.
  static std::chrono::steady_clock::time_point hooked_at;
  platform_clock_set_hook([](void *, uint32_t) { hooked_at = std::chrono::steady_clock::now(); },
                          nullptr);
  platform_sleep_ms(20);
  EXPECT_GE(std::chrono::steady_clock::now() - hooked_at, std::chrono::milliseconds(20));
  EXPECT_EQ(clock_state(), ClockState(20, 1, {20}));
  platform_clock_reset();
  static std::vector<uint32_t> hooked;
  platform_clock_set_virtual(1);
  platform_clock_set_hook([](void *, uint32_t ms) { hooked.push_back(ms); }, nullptr);
  platform_sleep_ms(3600u * 1000u); // an hour: the test would time out if it slept
  platform_sleep_ms(5);
  platform_sleep_ms(0);
  EXPECT_EQ(clock_state(), ClockState(3600u * 1000u + 5u, 3, {3600u * 1000u, 5, 0}));
  EXPECT_EQ(hooked, (std::vector<uint32_t>{3600u * 1000u, 5, 0}));
  platform_clock_set_hook(nullptr, nullptr);

  // All threads' waits count; the log keeps the first (not the last, 7), copies no more.
  platform_clock_reset();
  in_threads(4, [](unsigned) {
    for (uint32_t i = 0; i < PLATFORM_CLOCK_LOG_MAX / 2; ++i) {
      platform_sleep_ms(2);
    }
  });
  platform_sleep_ms(7);
  EXPECT_EQ(clock_state(), ClockState(4 * PLATFORM_CLOCK_LOG_MAX + 7,
                                      2 * PLATFORM_CLOCK_LOG_MAX + 1, std::vector<uint32_t>(8, 2)));
  std::vector<uint32_t> logged(PLATFORM_CLOCK_LOG_MAX + 3, 99);
  EXPECT_EQ(platform_clock_waits(logged.data(), logged.size()), PLATFORM_CLOCK_LOG_MAX);
  EXPECT_EQ(logged[PLATFORM_CLOCK_LOG_MAX - 1], 2u);
  EXPECT_EQ(logged[PLATFORM_CLOCK_LOG_MAX], 99u);
  platform_clock_set_virtual(0);
  platform_clock_reset();
}

} // namespace
