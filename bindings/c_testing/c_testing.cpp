// Runs tests of hosts in C and in other languages on the test kit.
#include <limits>
#include <map>
#include <string>

#include "c/c_boundary.h"
#include "quarnex/quarnex_testing.h"
#include "quarnex/testing.h"

using quarnex::testkit::Fault;
using quarnex::testkit::TestSite;
using namespace quarnex::c;

namespace {

void require(std::int32_t result) {
  if (result != 0) throw quarnex::testkit::TestFailed("the code of the test has failed");
}

class HostCode {
 public:
  explicit HostCode(const quarnex_test_host& code) : code_(code) { require(code_.start(code_.data)); }
  ~HostCode() {
    if (code_.end != nullptr) code_.end(code_.data);
  }
  HostCode(const HostCode&) = delete;
  HostCode& operator=(const HostCode&) = delete;

  void afterTurn() {
    if (code_.after_turn != nullptr) require(code_.after_turn(code_.data));
  }
  void run(quarnex_test_code code, void* data) { require(code(data)); }

 private:
  quarnex_test_host code_;
};

using Host = quarnex::testkit::HostOf<HostCode>;

}  // namespace

struct quarnex_test_site {
  TestSite& kit;
  std::vector<Host*> hosts{};
  std::map<std::int32_t, Fault> faults{};
  std::int32_t latestFault = 0;
  std::string file{};

  Host& host(std::int32_t number) const {
    if (number < 0 || static_cast<std::size_t>(number) >= hosts.size()) refuse("there is no such host");
    return *hosts[static_cast<std::size_t>(number)];
  }
};

namespace {

unsigned perThousand(std::int64_t amount) {
  if (amount < 1 || amount > 1000) refuse("a share is from 1 to 1000");
  return static_cast<unsigned>(amount);
}

Fault begin(const quarnex_test_site& site, std::int32_t kind, std::int32_t one, std::int32_t other,
            std::int64_t amount) {
  TestSite& kit = site.kit;
  switch (kind) {
    case QUARNEX_TEST_SILENCE:
      return kit.silence(site.host(one), site.host(other));
    case QUARNEX_TEST_ONE_WAY:
      return kit.oneWay(site.host(one), site.host(other));
    case QUARNEX_TEST_HOLD:
      return kit.hold(site.host(one), site.host(other));
    case QUARNEX_TEST_REFUSAL:
      return kit.refusal(site.host(one));
    case QUARNEX_TEST_RESET:
      return kit.reset(site.host(one), site.host(other));
    case QUARNEX_TEST_DAMAGE:
      return kit.damage(site.host(one), site.host(other), perThousand(amount));
    case QUARNEX_TEST_STALL:
      return kit.stall(site.host(one));
    case QUARNEX_TEST_CLOCK:
      return kit.clock(site.host(one), duration(amount));
    default:
      refuse("there is no such fault");
  }
}

quarnex::testkit::TestSettings converted(const quarnex_test_settings& settings) {
  quarnex::testkit::TestSettings kit;
  if (settings.seed != 0) kit.seed = settings.seed;
  kit.twice = settings.twice != 0;
  kit.rareRuns = static_cast<unsigned>(
      std::min<std::uint64_t>(settings.rare_runs, std::numeric_limits<unsigned>::max()));
  const std::string_view folder = CallerText{settings.recordings.bytes, settings.recordings.length};
  if (!folder.empty()) kit.recordings = folder;
  return kit;
}

}  // namespace

int32_t quarnex_test_simulate(const quarnex_test_settings* settings, quarnex_test_body test, void* data,
                              quarnex_error* error) {
  return guarded(error, [&] {
    required(test);
    const auto run = [&](TestSite& kit) {
      quarnex_test_site site{kit};
      require(test(&site, data));
    };
    quarnex::testkit::simulate(run, converted(completed(settings)));
  });
}

int32_t quarnex_test_add(quarnex_test_site* site, const char* name, size_t length,
                         const quarnex_test_host* host, int32_t* added, quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_test_site& to = required(site);
    int32_t& number = required(added);
    const quarnex_test_host code = completed(&required(host));
    required(code.start);
    const std::string_view named = CallerText{name, length};
    to.hosts.push_back(&to.kit.add(
        std::string(named), [code] { return HostCode(code); }, &HostCode::afterTurn));
    number = static_cast<int32_t>(to.hosts.size()) - 1;
  });
}

int32_t quarnex_test_kill(quarnex_test_site* site, int32_t host, quarnex_error* error) {
  return guarded(error, [&] { required(site).host(host).kill(); });
}

int32_t quarnex_test_start(quarnex_test_site* site, int32_t host, quarnex_error* error) {
  return guarded(error, [&] { required(site).host(host).start(); });
}

int32_t quarnex_test_inside(quarnex_test_site* site, int32_t host, quarnex_test_code code, void* data,
                            quarnex_error* error) {
  return guarded(error, [&] {
    required(code);
    required(site).host(host)->run(code, data);
  });
}

int32_t quarnex_test_make_folder(quarnex_test_site* site, int32_t host, const char* path, size_t length,
                                 quarnex_error* error) {
  return guarded(error, [&] {
    required(site).host(host).makeFolder(std::string(std::string_view(CallerText{path, length})));
  });
}

int32_t quarnex_test_file(quarnex_test_site* site, int32_t host, const char* path, size_t length,
                          quarnex_text* content, quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_text& into = required(content);
    required(site).file = site->host(host).file(std::string(std::string_view(CallerText{path, length})));
    into = view(site->file);
  });
}

int32_t quarnex_test_fault(quarnex_test_site* site, int32_t kind, int32_t one, int32_t other, int64_t amount,
                           int32_t* fault, quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_test_site& on = required(site);
    int32_t& number = required(fault);
    on.faults.emplace(on.latestFault + 1, begin(on, kind, one, other, amount));
    number = ++on.latestFault;
  });
}

int32_t quarnex_test_end_fault(quarnex_test_site* site, int32_t fault, quarnex_error* error) {
  return guarded(error, [&] { required(site).faults.erase(fault); });
}

int32_t quarnex_test_now(quarnex_test_site* site, int64_t* ms, quarnex_error* error) {
  return guarded(error, [&] {
    const auto since1970 = required(site).kit.now().time_since_epoch();
    required(ms) = std::chrono::duration_cast<std::chrono::milliseconds>(since1970).count();
  });
}

int32_t quarnex_test_run(quarnex_test_site* site, int64_t ms, quarnex_error* error) {
  return guarded(error, [&] { required(site).kit.run(duration(ms)); });
}

int32_t quarnex_test_run_until(quarnex_test_site* site, quarnex_test_code condition, void* data,
                               int64_t within_ms, quarnex_error* error) {
  return guarded(error, [&] {
    required(condition);
    required(site).kit.runUntil([&] { return condition(data) != 0; }, duration(within_ms));
  });
}

int32_t quarnex_test_settle(quarnex_test_site* site, quarnex_error* error) {
  return guarded(error, [&] { required(site).kit.settle(); });
}

int32_t quarnex_test_nothing_more_happens(quarnex_test_site* site, quarnex_error* error) {
  return guarded(error, [&] { required(site).kit.nothingMoreHappens(); });
}
