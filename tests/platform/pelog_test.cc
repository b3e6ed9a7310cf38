// Trace buffers, through the C interface.
#include "platform/evm.h"
#include "platform/pelog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kInvalid = 22;

pelog_hdl open_buffer(const char *name, uint32_t size = 65536) {
  pelog_hdl buffer = nullptr;
  EXPECT_EQ(pelog_open(&buffer, name, size, 0, "/tmp", "test", 0), 0);
  return buffer;
}

template <typename... Args>
int put(pelog_hdl buffer, uint32_t msg_no, const char *signature, const char *format,
        Args... args) {
  return pelog_write(buffer, msg_no, 0, 0, signature, format, args...);
}

std::string text_of(pelog_hdl buffer) {
  std::string text(pelog_text(buffer, nullptr, 0) + 1, '\0');
  text.resize(pelog_text(buffer, text.data(), text.size()));
  return text;
}

struct Record {
  uint32_t msg_no;
  std::string signature;
  std::string text;
};

std::vector<Record> records_of(pelog_hdl buffer) {
  std::vector<Record> records;
  const size_t visited = pelog_for_each(
      buffer,
      [](void *ctx, uint32_t msg_no, const char *signature, const char *text) {
        static_cast<std::vector<Record> *>(ctx)->push_back({msg_no, signature, text});
      },
      &records);
  EXPECT_EQ(visited, records.size());
  return records;
}

TEST(Pelog, RendersEachConversion) {
  pelog_hdl b = open_buffer("test.render");
  ASSERT_EQ(put(b, 1, "D", "addr 0x%p", uintptr_t{0xdeadbeef}), 0);
  ASSERT_EQ(put(b, 2, "D", "null %p.", uintptr_t{0}), 0);
  ASSERT_EQ(put(b, 3, "dd", "%x %08X", 255, 0xbeef), 0);
  ASSERT_EQ(put(b, 4, "s", "[%-30s]", "port"), 0);
  ASSERT_EQ(put(b, 5, "dd", "%5d|%-4d|", 42, -7), 0);
  ASSERT_EQ(put(b, 6, "DD", "%lx %ld", uintptr_t{0x123456789a}, static_cast<uintptr_t>(-5)), 0);
  ASSERT_EQ(put(b, 7, "dd", "%u %hx", -1, 0x12345), 0);
  ASSERT_EQ(put(b, 8, "dd", "%c%% %o", 'A', 8), 0);
  ASSERT_EQ(put(b, 9, "ss", "%s %.3s", static_cast<const char *>(nullptr), "abcdef"), 0);
  ASSERT_EQ(put(b, 10, "", "ends with a newline\n"), 0);
  ASSERT_EQ(put(b, 11, "", ""), 0);
  const std::string long_text(400, 'q');
  ASSERT_EQ(put(b, 12, "s", "%s", long_text.c_str()), 0); // cut to PELOG_MAX_STRING
  EXPECT_EQ(text_of(b), "addr 0xdeadbeef\n"
                        "null 0.\n"
                        "ff 0000BEEF\n"
                        "[port" +
                            std::string(26, ' ') +
                            "]\n"
                            "   42|-7  |\n"
                            "123456789a -5\n"
                            "4294967295 2345\n"
                            "A% 10\n"
                            "(null) abc\n"
                            "ends with a newline\n"
                            "\n" +
                            std::string(PELOG_MAX_STRING, 'q') + "\n");
  EXPECT_EQ(pelog_count(b), 12u);
}

TEST(Pelog, ForEachKeepsOrderAndGivesTextWithoutAddedNewline) {
  pelog_hdl b = open_buffer("test.for_each");
  ASSERT_EQ(put(b, 30, "d", "first %d", 1), 0);
  ASSERT_EQ(put(b, 10, "s", "second %s\n", "x"), 0);
  ASSERT_EQ(put(b, 20, "D", "third %lu", uintptr_t{3}), 0);
  const std::vector<Record> records = records_of(b);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].msg_no, 30u);
  EXPECT_EQ(records[0].signature, "d");
  EXPECT_EQ(records[0].text, "first 1");
  EXPECT_EQ(records[1].msg_no, 10u);
  EXPECT_EQ(records[1].text, "second x\n");
  EXPECT_EQ(records[2].signature, "D");
  EXPECT_EQ(records[2].text, "third 3");
  EXPECT_EQ(pelog_for_each(b, nullptr, nullptr), 0u);
}

TEST(Pelog, MismatchedRecordsRenderUpToTheMismatch) {
  pelog_hdl b = open_buffer("test.bad_record");
  ASSERT_EQ(put(b, 1, "dd", "%d %s!", 5, 6), 0); // int where a string is due
  ASSERT_EQ(put(b, 2, "d", "v=%lx", 1), 0);      // 32-bit arg for a 64-bit conversion
  ASSERT_EQ(put(b, 3, "d", "%d %d", 1), 0);      // too few arguments
  ASSERT_EQ(put(b, 4, "dd", "%d", 1, 2), 0);     // too many arguments
  ASSERT_EQ(put(b, 5, "d", "%q %d", 1), 0);      // conversion records never carry
  ASSERT_EQ(put(b, 6, "d", "%99999d", 1), 0);    // absurd width
  ASSERT_EQ(put(b, 7, "d", "trailing %", 1), 0); // cut conversion
  ASSERT_EQ(put(b, 8, "d", "fine %d", 8), 0);
  EXPECT_EQ(text_of(b), "5  <bad record>\n"
                        "v= <bad record>\n"
                        "1  <bad record>\n"
                        "1 <bad record>\n"
                        " <bad record>\n"
                        " <bad record>\n"
                        "trailing  <bad record>\n"
                        "fine 8\n");
}

TEST(Pelog, FullRingDropsOldestAndKeepsNewestIntact) {
  pelog_hdl b = open_buffer("test.ring");
  const std::string letters(PELOG_MAX_STRING, 'z');
  const int writes = 5000;
  // Records of varying length, so that the ring wraps at varying offsets.
  // Once full, the ring drops only what the new record needs: it stays
  // nearly full rather than emptying.
  size_t most = 0;
  size_t fewest_when_full = SIZE_MAX;
  for (int i = 0; i < writes; ++i) {
    const std::string payload = letters.substr(0, static_cast<size_t>(i * 37 % 200));
    ASSERT_EQ(put(b, 7, "ds", "%d %s", i, payload.c_str()), 0);
    const size_t count = pelog_count(b);
    most = std::max(most, count);
    if (pelog_dropped(b) != 0) {
      fewest_when_full = std::min(fewest_when_full, count);
    }
  }
  EXPECT_GT(fewest_when_full, most * 3 / 4);
  const uint64_t dropped = pelog_dropped(b);
  const size_t kept = pelog_count(b);
  EXPECT_GT(dropped, 0u);
  EXPECT_GT(kept, 200u); // 64 KiB holds at least this many records of < 300 bytes
  EXPECT_EQ(kept + dropped, static_cast<uint64_t>(writes));

  const std::vector<Record> records = records_of(b);
  ASSERT_EQ(records.size(), kept);
  for (size_t k = 0; k < records.size(); ++k) {
    const int i = writes - static_cast<int>(kept) + static_cast<int>(k);
    ASSERT_EQ(records[k].text,
              std::to_string(i) + " " + letters.substr(0, static_cast<size_t>(i * 37 % 200)));
  }
  const std::string text = text_of(b);
  const std::string header = "[" + std::to_string(dropped) + " older records dropped]\n";
  EXPECT_EQ(text.substr(0, header.size()), header);

  pelog_clear(b);
  EXPECT_EQ(pelog_count(b), 0u);
  EXPECT_EQ(pelog_dropped(b), 0u);
  EXPECT_EQ(text_of(b), "");
  ASSERT_EQ(put(b, 7, "d", "after %d", 1), 0);
  EXPECT_EQ(text_of(b), "after 1\n");
}

TEST(Pelog, BadArgumentsAreRefused) {
  pelog_hdl b = nullptr;
  EXPECT_EQ(pelog_open(nullptr, "test.args", 65536, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(pelog_open(&b, nullptr, 65536, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(pelog_open(&b, "test.args", 0, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(pelog_open(&b, "test.args", 255, 0, nullptr, nullptr, 0), kInvalid);
  EXPECT_EQ(b, nullptr);
  EXPECT_EQ(pelog_find("test.args"), nullptr);

  b = open_buffer("test.args", 256);
  EXPECT_EQ(put(static_cast<pelog_hdl>(nullptr), 1, "d", "%d", 1), kInvalid);
  EXPECT_EQ(pelog_write(b, 1, 0, 0, nullptr, "%d", 1), kInvalid);
  EXPECT_EQ(pelog_write(b, 1, 0, 0, "d", nullptr, 1), kInvalid);
  EXPECT_EQ(put(b, 1, "dx", "%d %x", 1, 2), kInvalid);
  // Two full-length strings cannot fit a 256-byte buffer.
  const std::string long_text(PELOG_MAX_STRING, 'a');
  EXPECT_NE(put(b, 1, "ss", "%s%s", long_text.c_str(), long_text.c_str()), 0);
  EXPECT_EQ(pelog_count(b), 0u);

  EXPECT_EQ(pelog_show(b, nullptr), kInvalid);
  EXPECT_EQ(pelog_show(nullptr, stdout), kInvalid);
  EXPECT_EQ(pelog_count(nullptr), 0u);
  EXPECT_EQ(pelog_dropped(nullptr), 0u);
  EXPECT_EQ(pelog_name(nullptr), nullptr);
  EXPECT_EQ(pelog_find(nullptr), nullptr);
  char text[4] = "xyz";
  EXPECT_EQ(pelog_text(nullptr, text, sizeof text), 0u);
  EXPECT_STREQ(text, "");
  pelog_clear(nullptr);
}

TEST(Pelog, OpenAttachesByNameUnlessMadeToFail) {
  pelog_hdl first = open_buffer("test.reopen", 256);
  pelog_hdl again = open_buffer("test.reopen", 65536);
  EXPECT_EQ(first, again);
  EXPECT_EQ(pelog_find("test.reopen"), first);
  EXPECT_STREQ(pelog_name(first), "test.reopen");
  // Two 150-character records cannot both fit the 256 bytes of the first open.
  const std::string text(150, 'r');
  ASSERT_EQ(put(again, 1, "s", "%s", text.c_str()), 0);
  ASSERT_EQ(put(again, 2, "s", "%s", text.c_str()), 0);
  EXPECT_EQ(pelog_count(again), 1u);
  EXPECT_EQ(pelog_dropped(again), 1u);

  pelog_fail_open("test.reopen", 5);
  pelog_fail_open("test.fail_new", 12);
  pelog_hdl b = nullptr;
  EXPECT_EQ(pelog_open(&b, "test.reopen", 65536, 0, nullptr, nullptr, 0), 5);
  EXPECT_EQ(pelog_open(&b, "test.fail_new", 65536, 0, nullptr, nullptr, 0), 12);
  EXPECT_EQ(b, nullptr);
  pelog_fail_open("test.reopen", 0);
  pelog_fail_open("test.fail_new", 0);
  EXPECT_EQ(pelog_open(&b, "test.reopen", 65536, 0, nullptr, nullptr, 0), 0);
  EXPECT_EQ(b, first);
}

TEST(Pelog, TextFollowsSnprintf) {
  pelog_hdl b = open_buffer("test.snprintf");
  ASSERT_EQ(put(b, 1, "d", "value %d", 12345), 0);
  EXPECT_EQ(pelog_text(b, nullptr, 0), 12u);
  char small[5] = "####";
  EXPECT_EQ(pelog_text(b, small, sizeof small), 12u);
  EXPECT_STREQ(small, "valu");
}

TEST(Pelog, ConcurrentWritersLoseNoRecord) {
  pelog_hdl b = open_buffer("test.concurrent", 1u << 22);
  constexpr int kThreads = 4;
  constexpr int kPerThread = 5000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([b, t] {
      for (int i = 0; i < kPerThread; ++i) {
        put(b, static_cast<uint32_t>(t), "ds", "%d %s", i, "payload");
      }
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  EXPECT_EQ(pelog_count(b), static_cast<size_t>(kThreads * kPerThread));
  EXPECT_EQ(pelog_dropped(b), 0u);
  // Each thread's records appear whole and in the order it wrote them.
  std::vector<int> next(kThreads, 0);
  for (const Record &record : records_of(b)) {
    ASSERT_LT(record.msg_no, static_cast<uint32_t>(kThreads));
    ASSERT_EQ(record.text, std::to_string(next[record.msg_no]++) + " payload");
  }
}

TEST(Pelog, ReadersSeeWholeRecordsWhileWritersWrapTheRing) {
  pelog_hdl b = open_buffer("test.wrap_race", 4096);
  constexpr int kThreads = 3;
  constexpr int kPerThread = 3000;
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([b] {
      for (int i = 0; i < kPerThread; ++i) {
        put(b, 1, "dsD", "%d %s %lx", i, i % 2 != 0 ? "odd" : "even", uintptr_t{0xabc});
      }
    });
  }
  bool torn = false;
  for (int round = 0; round < 50 && !torn; ++round) {
    const std::string text = text_of(b);
    torn = text.find("<bad record>") != std::string::npos;
  }
  for (std::thread &writer : writers) {
    writer.join();
  }
  EXPECT_FALSE(torn);
  EXPECT_EQ(pelog_count(b) + pelog_dropped(b), static_cast<uint64_t>(kThreads * kPerThread));
}

TEST(Pelog, EnableRegistersARunnableShowCommand) {
  pelog_hdl b = open_buffer("test.enable");
  ASSERT_EQ(put(b, 1, "d", "shown %d", 1), 0);
  event_manager *manager = event_manager_create("pelog-test");
  ASSERT_NE(manager, nullptr);
  EXPECT_EQ(pelog_enable(nullptr, manager), kInvalid);
  EXPECT_EQ(pelog_enable(b, nullptr), kInvalid);
  ASSERT_EQ(pelog_enable(b, manager), 0);
  ASSERT_EQ(event_manager_command_count(manager), 1u);
  EXPECT_STREQ(event_manager_command_name(manager, 0), "show pelog test.enable");

  char *output = nullptr;
  size_t output_size = 0;
  FILE *out = open_memstream(&output, &output_size);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(event_manager_run(manager, "show pelog test.enable", out), 0);
  std::fclose(out);
  EXPECT_EQ(std::string(output, output_size), "shown 1\n");
  std::free(output);
  event_manager_destroy(manager);
}

} // namespace
