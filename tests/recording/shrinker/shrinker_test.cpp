// Whatever is wrong in a long recording is still wrong in a short one, in the same way.
#include "recording/shrinker/shrinker.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "recording/player/player.h"
#include "recording/troubled_hosts.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kStepsMax = 50;

// Finds fault with a link that is connected and has three texts waiting in that queue.
template <TextBuffer ConnectionRecord::*kQueue>
class Impatient final : public Judge {
 public:
  explicit Impatient(std::shared_ptr<Sink> sink) : plain_(std::move(sink)) {}
  Services wrap(const Services& services) override { return plain_.wrap(services); }
  void watch(Library& library) override {
    library_ = &library;
    plain_.watch(library);
  }
  Finding finding() override {
    for (std::int16_t link = 1; link <= library_->ConnectionCount && found_.text.empty(); ++link) {
      const ConnectionRecord& record = library_->ConnectionTable[link];
      if (record.Stato == kConnected && (record.*kQueue).Count >= 3) found_ = {"three wait", link};
    }
    return found_;
  }

 private:
  PlainJudge plain_;
  Library* library_ = nullptr;
  Finding found_;
};

template <class OneJudge>
std::unique_ptr<Judge> make(std::shared_ptr<Sink> sink) {
  return std::make_unique<OneJudge>(std::move(sink));
}

template <class OneJudge>
Shrunk shrunk(const std::string& text) {
  std::istringstream in(text);
  return shrink(in, make<OneJudge>);
}

template <class OneJudge>
Symptom symptomIn(const std::string& text) {
  std::istringstream in(text);
  return symptomOf(in, make<OneJudge>);
}

// Links and instances may have got other numbers.
std::string withoutNumbers(std::string line) {
  std::erase_if(line, [](char byte) { return byte >= '0' && byte <= '9'; });
  return line;
}

struct Alteration {
  const char* name;
  std::string output;  // the last of these becomes
  std::string other;   // what no engine would have done there
};

class ShrinkerDifferences : public testing::TestWithParam<Alteration> {};

TEST_P(ShrinkerDifferences, AreKeptAsTheyAre) {
  const auto& [name, output, other] = GetParam();
  std::string text;
  std::size_t at = text.npos;
  for (std::uint64_t seed = 1; at == text.npos; ++seed) {
    text = simulated::recordingsOf(seed).back();
    at = text.rfind(output);
  }
  text.replace(at, output.size(), other);
  const Shrunk result = shrunk<PlainJudge>(text);
  ASSERT_TRUE(result.symptom.difference);
  EXPECT_LE(result.stepsAfter, kStepsMax);
  const Symptom after = symptomIn<PlainJudge>(result.recording);
  ASSERT_TRUE(after.difference);
  EXPECT_EQ(withoutNumbers(after.difference->expected.text),
            withoutNumbers(result.symptom.difference->expected.text));
  EXPECT_EQ(withoutNumbers(after.difference->actual), withoutNumbers(result.symptom.difference->actual));
}

INSTANTIATE_TEST_SUITE_P(
    In, ShrinkerDifferences,
    testing::Values(Alteration{"AnOperation", "\"did\":\"connect\"", "\"did\":\"listen\""},
                    Alteration{"AnotherOperation", "\"did\":\"setLocalPort\"", "\"did\":\"setRemotePort\""},
                    Alteration{"ATextSent", "{\"sent\":\"", "{\"sent\":\"?"},
                    Alteration{"AnAnswer", "|9ACK|", "|9NAK|"},
                    Alteration{"AReport", "X000E0702", "X000E0992"},
                    Alteration{"ATrace", "\"text\":\"R>", "\"text\":\"R?"},
                    Alteration{"AResult", "\"result\":true", "\"result\":false"},
                    Alteration{"AText", "\"result\":\"text ", "\"result\":\"texts "},
                    Alteration{"AnOutputTooMany", "{\"trace\":2", "{\"end\":true}\n{\"trace\":2"}),
    [](const auto& row) { return row.param.name; });

template <class OneJudge>
void keepsFindingsOf() {
  int found = 0;
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
    for (const std::string& text : simulated::recordingsOf(seed)) {
      const Shrunk result = shrunk<OneJudge>(text);
      if (result.symptom.isNone()) continue;
      ++found;
      const Cuts& cuts = result.cuts;
      EXPECT_LE(result.stepsAfter, kStepsMax);
      EXPECT_EQ(result.stepsBefore - result.stepsAfter,
                cuts.ofOtherLinks + cuts.withoutEffect + cuts.repetitions + cuts.others);
      EXPECT_EQ(symptomIn<OneJudge>(result.recording).finding.text, "three wait");
      EXPECT_TRUE(symptomIn<PlainJudge>(result.recording).isNone());
    }
  }
  EXPECT_GE(found, 4);
}

TEST(Shrinker, KeepsAFinding) {
  keepsFindingsOf<Impatient<&ConnectionRecord::CodaInvio>>();
  keepsFindingsOf<Impatient<&ConnectionRecord::CodaArrivo>>();
}

TEST(Shrinker, LeavesAloneWhatIsNotWrong) {
  const std::string text = simulated::recordingsOf(1).front();
  EXPECT_EQ(shrunk<PlainJudge>(text).recording, "");
  const Shrunk cut = shrunk<PlainJudge>(text.substr(0, text.size() - 1));
  EXPECT_TRUE(cut.symptom.isNone());
  EXPECT_TRUE(cut.symptom.damage);
}

}  // namespace
}  // namespace quarnex::recording
