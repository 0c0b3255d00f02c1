#include "recording/shrinker/reproduction_check.h"

#include <algorithm>
#include <string_view>

#include "recording/format/line_copy.h"
#include "recording/shrinker/engine_state.h"

namespace quarnex::recording {
namespace {

constexpr std::string_view kEndOfNested = "{\"end\":true}";

std::string stateBefore(Rerun& rerun, const Step& step, const Symptom& symptom) {
  return controlStateOf(rerun.library(), rerun.model(), symptom.links, step.at());
}

}  // namespace

SymptomCheck::SymptomCheck(Symptom symptom, std::int32_t utcOffset, MakeJudge makeJudge)
    : symptom_(std::move(symptom)), utcOffset_(utcOffset), makeJudge_(std::move(makeJudge)) {}

void SymptomCheck::expectStateOf(Rerun& rerun, const Step& last) {
  state_ = stateBefore(rerun, last, symptom_);
  before_.clear();
  if (!symptom_.difference) return;
  rerun.play(last);
  for (const Line& line : *last.lines) {
    if (isCompared(line, rerun.library())) before_.push_back(lineOf(line));
  }
}

std::string SymptomCheck::recordingOf(const Steps& steps) {
  std::string recording;
  feed(steps, &recording);
  return recording;
}

std::size_t SymptomCheck::feed(const Steps& steps, std::string* recording) {
  Rerun rerun = newRerun();
  if (recording != nullptr) *recording = rerun.header();
  const bool forDifference = symptom_.difference.has_value();
  for (std::size_t fed = 0; fed < steps.size();) {
    const Step& step = steps[fed++];
    ++stepsFed_;
    if (forDifference && fed == steps.size()) return differs(rerun, step, recording) ? fed : 0;
    const std::string& lines = rerun.play(step);
    if (recording != nullptr) *recording += lines;
    const Finding finding = rerun.finding();
    if (!forDifference && !finding.text.empty()) return finding.text == symptom_.finding.text ? fed : 0;
  }
  return 0;
}

bool SymptomCheck::differs(Rerun& rerun, const Step& last, std::string* recording) const {
  if (stateBefore(rerun, last, symptom_) != state_) return false;
  const Difference& difference = *symptom_.difference;
  const std::string& lines = rerun.play(last);
  bool came = false;
  std::size_t matched = 0;
  for (std::string_view rest = lines; !rest.empty();) {
    const std::string_view text = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(text.size() + 1);
    came = matched == before_.size() && text == difference.actual;
    if (came) break;
    if (isCompared(readLine(text), rerun.library())) {
      if (matched == before_.size() || text != before_[matched]) return false;
      ++matched;
    }
    if (recording != nullptr) recording->append(text) += '\n';
  }
  if (recording != nullptr) recording->append(difference.expected.text) += '\n';
  return came || (difference.actual == kNothingMore && matched == before_.size());
}

// Where other links have been left out, so has what the engine does for them in a step for all.
bool SymptomCheck::isCompared(const Line& output, const Library& library) const {
  switch (output.kind) {
    case LineKind::Result:
    case LineKind::Failure:
      return true;
    case LineKind::End:
      return symptom_.difference->actual == kEndOfNested;
    case LineKind::Trace:
    case LineKind::Performed:
      break;
    default:
      return false;
  }
  const std::int16_t link = linkOf(library, output);
  return symptom_.links.empty() || std::ranges::find(symptom_.links, link) != symptom_.links.end() ||
         (output.kind == LineKind::Trace && link == 0);
}

void SymptomCheck::renumber(const Renumbering& renumbering) {
  symptom_.links = renumbering.links();
  for (std::string& text : before_) text = renumbering.renumbered(text);
  if (!symptom_.difference) return;
  symptom_.difference->expected.text = renumbering.renumbered(symptom_.difference->expected.text);
  symptom_.difference->actual = renumbering.renumbered(symptom_.difference->actual);
}

}  // namespace quarnex::recording
