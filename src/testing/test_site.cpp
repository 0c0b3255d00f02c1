// The parts of the kit that tests call.
#include <map>
#include <utility>

#include "quarnex/testing.h"
#include "recording/format/text_codes.h"
#include "testing/program_host.h"
#include "testing/stage.h"

namespace quarnex::testkit {
namespace {

using Effect = NetworkRule::Effect;

constexpr Milliseconds kQuietTime = 2 * simulation::kMinute;

bool isAtRest(const LinkSnapshot& link) {
  if (link.phase == LinkPhase::Connected)
    return link.messageReceived && link.outbound == 0 && !link.batchInFlight && !link.closing;
  return link.phase == LinkPhase::Local || link.phase == LinkPhase::Closed;
}

std::string nameOf(const TestHost& host, const LinkSnapshot& link) {
  return "link " + std::to_string(link.index) + " of " + host.name();
}

// The first link that is not at rest, with its state; "" if there is none.
std::string busyLink(Stage& stage) {
  std::string busy;
  stage.forEachLink([&busy](const TestHost& host, const LinkSnapshot& link) {
    if (busy.empty() && !isAtRest(link)) {
      busy = nameOf(host, link) + ": " + link.why + ", " + std::to_string(link.outbound) + " texts wait" +
             (link.batchInFlight ? " and a batch is not acknowledged" : "");
    }
  });
  return busy.empty() && !stage.nothingTravels() ? "bytes are on their way" : busy;
}

// Looks once in a tick, when everything that is due has run.
bool restsWithin(Stage& stage, Milliseconds within) {
  const Milliseconds end = stage.now() + within;
  while (stage.now() < end) {
    stage.runUntil(stage.now() + kTickMilliseconds, [] { return false; });
    if (busyLink(stage).empty()) return true;
  }
  return false;
}

// The counts that do not change while nothing happens, by a sentence about their change.
std::map<std::string, std::uint64_t> countsOf(Stage& stage) {
  std::map<std::string, std::uint64_t> counts;
  for (const Cast& cast : stage.casts())
    counts[cast.host->name() + " took an item"] = cast.tape->itemsTaken();
  stage.forEachLink([&counts](const TestHost& host, const LinkSnapshot& link) {
    const std::string name = nameOf(host, link);
    counts["an item waits at " + name] = static_cast<std::uint64_t>(link.inbound);
    counts[name + " received a text"] = link.textsReceived;
    counts[name + " went up or down"] = link.reconnections * 2 + (link.phase == LinkPhase::Connected ? 1 : 0);
  });
  return counts;
}

// Describes the first count that differs, with the items that were taken last; "" if none differs.
std::string changeSince(const std::map<std::string, std::uint64_t>& before, Stage& stage) {
  std::string change;
  for (const auto& [sentence, count] : countsOf(stage)) {
    const auto found = before.find(sentence);
    if (change.empty() && (found == before.end() || found->second != count)) change = sentence;
  }
  for (const Cast& cast : stage.casts()) {
    if (!change.empty() && !cast.tape->latestItem().empty())
      change +=
          "; latest item of " + cast.host->name() + ": " + recording::jsonString(cast.tape->latestItem());
  }
  return change;
}

std::string quoted(std::string_view name) {
  return name.empty() ? "the condition" : '"' + std::string(name) + '"';
}

}  // namespace

TestHost::TestHost(Stage& stage, std::string name)
    : stage_(stage), name_(std::move(name)), number_(stage.addNumber()) {}

TestHost::Scope::Scope(TestHost& host)
    : stage_(host.stage_), before_(std::exchange(host.stage_.current, &host)) {}

TestHost::Scope::~Scope() {
  stage_.current = before_;
}

void TestHost::requireRunning() const {
  if (!running_) throw WrongUse("the host " + name_ + " does not run: call start first");
}

void TestHost::kill() {
  stage_.kill(*this);
}

void TestHost::start() {
  stage_.start(*this);
}

void TestHost::adoptThread() const {
  stage_.castOf(*this).engine.library().thread = std::this_thread::get_id();
}

QuarnSocket TestHost::quarn() const {
  requireRunning();
  adoptThread();
  return QuarnSocket(stage_.castOf(*this).engine.library());
}

std::string TestHost::file(const std::string& path) const {
  const auto& files = stage_.castOf(*this).engine.log.files;
  const auto found = files.find(path);
  return found != files.end() ? found->second : "";
}

void TestHost::makeFolder(const std::string& path) {
  stage_.castOf(*this).engine.log.folders.insert(path);
}

void TestSite::adopt(std::unique_ptr<TestHost> host, QuarnSocket (*probe)()) {
  stage_->adopt(std::move(host), probe);
}

TestProgram& TestSite::adoptProgram(std::string name, std::function<int()> program, QuarnSocket (*probe)()) {
  auto host = std::make_unique<ProgramHost>(*stage_, std::move(name), std::move(program));
  TestProgram& added = *host;
  stage_->adopt(std::move(host), probe);
  return added;
}

std::uint64_t TestSite::seed() const {
  return stage_->seed;
}

std::chrono::system_clock::time_point TestSite::now() const {
  return std::chrono::system_clock::time_point(std::chrono::seconds(stage_->world().start.second)) +
         Duration(stage_->now());
}

Fault TestSite::silence(const TestHost& one, const TestHost& other) {
  return stage_->rules().add({{Effect::Lose, &one, &other}, {Effect::Lose, &other, &one}});
}

Fault TestSite::oneWay(const TestHost& from, const TestHost& to) {
  return stage_->rules().add({{Effect::Lose, &to, &from}});
}

Fault TestSite::hold(const TestHost& one, const TestHost& other) {
  return stage_->rules().add({{Effect::Hold, &one, &other}, {Effect::Hold, &other, &one}});
}

Fault TestSite::refusal(const TestHost& called) {
  return stage_->rules().add({{Effect::Refuse, nullptr, &called}});
}

Fault TestSite::reset(const TestHost& one, const TestHost& other) {
  return stage_->rules().add({{Effect::Reset, &one, &other}});
}

Fault TestSite::damage(const TestHost& from, const TestHost& to, unsigned perThousand) {
  simulation::Damage damage;
  damage.flip = perThousand;
  return stage_->rules().add(
      {{Effect::Damage, &from, &to, simulation::Damaging(damage, stage_->world().random())}});
}

Fault TestSite::stall(const TestHost& host) {
  return stage_->stall(host);
}

Fault TestSite::clock(const TestHost& host, Duration by) {
  return stage_->shiftClock(host, by.count());
}

void TestSite::run(Duration duration) {
  stage_->runUntil(stage_->now() + duration.count(), [] { return false; });
}

void TestSite::runUntil(const std::function<bool()>& condition, Duration within, std::string_view name) {
  if (stage_->await(within.count(), condition)) return;
  const std::string busy = busyLink(*stage_);
  stage_->fail(quoted(name) + " did not become true within " + std::to_string(within.count()) + " ms" +
               (busy.empty() ? "" : "; " + busy));
}

void TestSite::never(const std::function<bool()>& condition, Duration within, std::string_view name) {
  if (stage_->runUntil(stage_->now() + within.count(), condition))
    stage_->fail(quoted(name) + " became true");
}

void TestSite::require(bool condition, std::string_view text) {
  if (!condition) stage_->fail(std::string(text));
}

void TestSite::settle() {
  bool rests = restsWithin(*stage_, kSettleMax);
  if (!rests && stage_->rare() != nullptr) {
    calm();
    rests = restsWithin(*stage_, kSettleMax);
  }
  if (!rests) stage_->fail("not at rest after 3 minutes: " + busyLink(*stage_));
}

void TestSite::calm() {
  if (stage_->rare() != nullptr) stage_->rare()->calm();
}

void TestSite::nothingMoreHappens() {
  if (stage_->rare() != nullptr) {
    calm();
    settle();
  }
  run(Duration(0));  // the rest of the present moment
  const auto before = countsOf(*stage_);
  std::string change;
  const Milliseconds end = stage_->now() + kQuietTime;
  while (change.empty() && stage_->now() < end) {
    run(Duration(kTickMilliseconds));
    change = changeSince(before, *stage_);
  }
  if (!change.empty()) stage_->fail(change);
}

}  // namespace quarnex::testkit
