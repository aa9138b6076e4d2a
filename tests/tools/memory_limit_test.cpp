// The tool under a limit on its address space: wherever memory runs out, it says so and exits
// with status 1, never with an abort.
#include <gtest/gtest.h>

#include <algorithm>

#include "dataheader/fixtures.h"
#include "tools/run_tool.h"
#include "tools/text.h"

// Sanitizer runtimes reserve far more address space than any limit here leaves.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SC_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SC_SANITIZED 1
#endif
#endif

namespace {

using namespace tooltest;

constexpr int kStepKiB = 1024;

std::string Limit(int kib) {
  return "ulimit -v " + std::to_string(kib) + ";";
}

// The smallest limit, in whole steps, under which the tool starts at all.
int Floor() {
  for (int kib = 2 * kStepKiB; kib < 256 * kStepKiB; kib += kStepKiB)
    if (RunTool({"error", "0"}, "", Limit(kib)).status == 0) return kib;
  ADD_FAILURE() << "the tool does not start under 256 MiB";
  return 256 * kStepKiB;
}

// Runs the command under limits rising step by step from `floor` until it succeeds. Each run
// before must end with status 1 and one line that says what failed. Returns those lines.
std::vector<std::string> UnderRisingLimits(const std::vector<std::string> &args, int floor) {
  std::vector<std::string> messages;
  for (int kib = floor; kib < floor + 128 * kStepKiB; kib += kStepKiB) {
    const ToolRun run = RunTool(args, "", Limit(kib));
    if (run.status == 0) return messages;
    SCOPED_TRACE(args[0] + " " + args[1] + " under " + std::to_string(kib) + " KiB");
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_TRUE(run.err.starts_with("speechcommon: ")) << run.err;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    messages.push_back(run.err);
  }
  ADD_FAILURE() << "never succeeded: " << args[0] << " " << args[1];
  return messages;
}

bool AnySays(const std::vector<std::string> &messages, const std::string &part) {
  return std::any_of(messages.begin(), messages.end(),
                     [&](const std::string &message) { return Has(message, part); });
}

class MemoryLimit : public ::testing::Test {
 protected:
  void SetUp() override {
#ifdef SC_SANITIZED
    GTEST_SKIP() << "sanitizer runtimes need more address space than the limits leave";
#endif
  }
  TempDir dir_;
};

TEST_F(MemoryLimit, DictCommandsReportExhaustedMemory) {
  std::string text =
      "[Header]\nName = big\n[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
      "Representation = EDCT_REPR_SZ_STRING\n[Data]\n";
  for (int i = 0; i < 60000; ++i)
    text += "word" + std::to_string(i) + "\t\"the word number " + std::to_string(i) + "\"\n";
  const std::string lexicon = dir_.Write("big.txt", text), image = dir_.Path("big.img");
  ASSERT_EQ(RunTool({"dict", "compile", lexicon, "-o", image}).status, 0);
  const int floor = Floor();
  const std::pair<std::vector<std::string>, const char *> commands[] = {
      {{"dict", "compile", lexicon, "-o", dir_.Path("out")}, "writing the archive image of"},
      {{"dict", "decompile", image, "-o", dir_.Path("out")}, "writing the text stream of"},
      {{"dict", "convert", image, dir_.Path("out")}, "writing the archive image of"},
      {{"dict", "list", image, "--json"}, nullptr},
  };
  for (const auto &[args, step] : commands) {
    const std::vector<std::string> messages = UnderRisingLimits(args, floor);
    EXPECT_FALSE(messages.empty()) << args[1] << " needs no more memory than starting does";
    if (!step) continue;
    EXPECT_TRUE(AnySays(messages, std::string("out of memory while ") + step))
        << args[1] << ":\n"
        << testing::PrintToString(messages);
  }
}

TEST_F(MemoryLimit, BrokerListReportsExhaustedMemory) {
  const auto tag = [](std::u16string_view name, std::u16string value) {
    return u"<" + std::u16string(name) + u">" + value + u"</" + std::u16string(name) + u">\r\n";
  };
  dir_.Write("root/tts/e.hdr",
             hdrtest::HeaderFile(tag(u"COMPTYPE", u"TTSENGINE") + tag(u"BROKERSTRING", u"tts/e") +
                                 tag(u"NAME", u"E")));
  const std::u16string name(2000, u'n');
  for (int i = 0; i < 1500; ++i) {
    const std::u16string id = cli::Utf16(std::to_string(i));
    dir_.Write("root/tts/v/" + std::to_string(i) + ".hdr",
               hdrtest::HeaderFile(tag(u"COMPTYPE", u"VOICE") +
                                   tag(u"BROKERSTRING", u"voice/" + id) + tag(u"NAME", name)));
  }
  ASSERT_EQ(RunTool({"broker", "list", dir_.Path("root")}).status, 0);
  EXPECT_FALSE(UnderRisingLimits({"broker", "list", dir_.Path("root"), "--json"}, Floor()).empty());
}

}  // namespace
