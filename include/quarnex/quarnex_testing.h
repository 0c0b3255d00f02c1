// Declares the test kit for hosts in C and for bindings of other languages: several hosts on a simulated
// network in virtual time, as `testing.h` describes it.
//
// The library libquarnex_testing.so has these functions and those of `quarnex.h`: a test loads it in place of
// libquarnex.so.1. An instance that a host's code creates belongs to that host. It must not be used after
// the end of the host, nor `quarnex_turn` outside the code of a host.
//
// The rules of `quarnex.h` hold here, too. A failed test and a use that cannot work have the number 51.
#pragma once

#include "quarnex/quarnex.h"

#ifdef __cplusplus
extern "C" {
#endif

// NOLINTBEGIN(modernize-use-using)

/// The hosts of one test, their network and their time.
typedef struct quarnex_test_site quarnex_test_site;

/// Code of the host or the test; `data` is what the caller has registered with it. Every result but 0 makes
/// the test fail, except where it is a condition.
typedef int32_t (*quarnex_test_code)(void* data);
/// A test.
typedef int32_t (*quarnex_test_body)(quarnex_test_site* site, void* data);

/// How a test runs. The environment variables of `testing.h`, where they are set, override the members.
typedef struct quarnex_test_settings {
  uint32_t size;
  int32_t twice;            ///< run it twice and compare everything that the libraries did
  uint64_t seed;            ///< 0 = 1
  uint64_t rare_runs;       ///< if not 0, so many runs in which rare outcomes happen
  quarnex_text recordings;  ///< folder for the recordings of a failed test; "" = the present one
} quarnex_test_settings;

/// The code of a host. `start` runs at each start of the host, `after_turn` after each turn of its loop,
/// every 200 ms, and `end` when it ends or is killed: then nothing that it asks of the library has an effect.
/// `after_turn` and `end` may be NULL.
typedef struct quarnex_test_host {
  uint32_t size;
  int32_t reserved;  ///< 0
  quarnex_test_code start, after_turn, end;
  void* data;
} quarnex_test_host;

/// Faults of the network and of hosts.
enum quarnex_test_fault_kind {
  QUARNEX_TEST_SILENCE = 0,  ///< frames between `one` and `other` are lost
  QUARNEX_TEST_ONE_WAY = 1,  ///< the same from `other` to `one` only
  QUARNEX_TEST_HOLD = 2,     ///< frames between them wait until the fault ends
  QUARNEX_TEST_REFUSAL = 3,  ///< calls to `one` are refused
  QUARNEX_TEST_RESET = 4,    ///< connections between them are reset
  QUARNEX_TEST_DAMAGE = 5,   ///< of a thousand frames from `one` to `other`, `amount` are damaged
  QUARNEX_TEST_STALL = 6,    ///< `one` does not turn its loop
  QUARNEX_TEST_CLOCK = 7     ///< the system's clock of `one` is `amount` milliseconds ahead
};

// NOLINTEND(modernize-use-using)

/// Runs a test on a site without hosts. If it fails, prints the seed and keeps the recordings of all hosts.
/// `settings` may be NULL. Not reentrant.
QUARNEX_C_API int32_t quarnex_test_simulate(const quarnex_test_settings* settings, quarnex_test_body test,
                                            void* data, quarnex_error* error);

/// Adds a host, starts it, and sets `added` to its number.
QUARNEX_C_API int32_t quarnex_test_add(quarnex_test_site* site, const char* name, size_t length,
                                       const quarnex_test_host* host, int32_t* added, quarnex_error* error);
/// Ends a host as kill -9 ends a process; nothing if it does not run.
QUARNEX_C_API int32_t quarnex_test_kill(quarnex_test_site* site, int32_t host, quarnex_error* error);
/// Starts it again.
QUARNEX_C_API int32_t quarnex_test_start(quarnex_test_site* site, int32_t host, quarnex_error* error);
/// Runs code inside a host, so that a new instance belongs to it.
QUARNEX_C_API int32_t quarnex_test_inside(quarnex_test_site* site, int32_t host, quarnex_test_code code,
                                          void* data, quarnex_error* error);

/// Creates a folder for files, such as logs, that a host writes through the library.
QUARNEX_C_API int32_t quarnex_test_make_folder(quarnex_test_site* site, int32_t host, const char* path,
                                               size_t length, quarnex_error* error);
/// Sets `content` to that of such a file, "" if there is none. It stays until the next call of this function.
QUARNEX_C_API int32_t quarnex_test_file(quarnex_test_site* site, int32_t host, const char* path,
                                        size_t length, quarnex_text* content, quarnex_error* error);

/// Starts a fault, and sets `fault` to its number.
QUARNEX_C_API int32_t quarnex_test_fault(quarnex_test_site* site, int32_t kind, int32_t one, int32_t other,
                                         int64_t amount, int32_t* fault, quarnex_error* error);
/// Ends it; nothing if it has ended.
QUARNEX_C_API int32_t quarnex_test_end_fault(quarnex_test_site* site, int32_t fault, quarnex_error* error);

/// Sets `ms` to the virtual time, in milliseconds since 1970-01-01 UTC.
QUARNEX_C_API int32_t quarnex_test_now(quarnex_test_site* site, int64_t* ms, quarnex_error* error);
/// Lets time pass.
QUARNEX_C_API int32_t quarnex_test_run(quarnex_test_site* site, int64_t ms, quarnex_error* error);
/// Lets time pass until `condition` does not return 0; fails if that takes longer.
QUARNEX_C_API int32_t quarnex_test_run_until(quarnex_test_site* site, quarnex_test_code condition, void* data,
                                             int64_t within_ms, quarnex_error* error);
/// Lets time pass until nothing is on its way; fails after 3 minutes.
QUARNEX_C_API int32_t quarnex_test_settle(quarnex_test_site* site, quarnex_error* error);
/// Lets 2 minutes pass; fails if a host receives anything, or a link goes up or down.
QUARNEX_C_API int32_t quarnex_test_nothing_more_happens(quarnex_test_site* site, quarnex_error* error);

#ifdef __cplusplus
}
#endif
