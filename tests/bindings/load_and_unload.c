// Loads the library, uses it and unloads it, as often as the second argument states; fails if that uses up
// descriptors or memory, or leaves the library loaded. Links stay in service, and the log and a recording
// stay open; the third argument begins their names.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "quarnex/quarnex.h"

#define REQUIRE(condition)                                                \
  do {                                                                    \
    if (!(condition)) {                                                   \
      fprintf(stderr, "%s:%d: not %s\n", __FILE__, __LINE__, #condition); \
      exit(1);                                                            \
    }                                                                     \
  } while (0)

// ISO C has no conversion from an object pointer to a function pointer.
static void find(void* library, const char* name, void* function) {
  void* const found = dlsym(library, name);
  REQUIRE(found != NULL);
  memcpy(function, &found, sizeof found);
}

#define FIND(function)                      \
  __typeof__(function)* function##_ = NULL; \
  find(library, #function, &function##_)

static void use_once(const char* path, const char* log_prefix) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  REQUIRE(library != NULL);
  FIND(quarnex_record_flight);
  FIND(quarnex_flush_flight);
  FIND(quarnex_create);
  FIND(quarnex_destroy);
  FIND(quarnex_Init);
  FIND(quarnex_AttivaLog);
  FIND(quarnex_Add);
  FIND(quarnex_allow_callers);
  FIND(quarnex_Apri);
  FIND(quarnex_Invia);
  FIND(quarnex_turn);
  FIND(quarnex_next_item);
  FIND(quarnex_snapshot);
  quarnex_instance* quarn = NULL;
  quarnex_error error = {.size = sizeof error};
  quarnex_link_snapshot snapshot = {.size = sizeof snapshot};
  quarnex_recording_settings settings = {.size = sizeof settings, .group_may_read = 1};
  quarnex_file_losses losses = {.size = sizeof losses};
  const quarnex_text caller = {"192.0.2.1", 9};
  quarnex_text item = {NULL, 0};
  int32_t one = 0, other = 0, server = 0, kind = 0;
  REQUIRE(quarnex_record_flight_(log_prefix, strlen(log_prefix), &settings, &error) == 0);
  REQUIRE(quarnex_create_(&quarn, &error) == 0);
  REQUIRE(quarnex_Init_(quarn, log_prefix, strlen(log_prefix), &error) == 0);
  REQUIRE(quarnex_AttivaLog_(quarn, &error) == 0);
  REQUIRE(quarnex_Add_(quarn, "METEO", 5, 11, 1, 0, &one, &error) == 0);
  REQUIRE(quarnex_Add_(quarn, "METEO", 5, 11, 0, 0, &other, &error) == 0);
  REQUIRE(quarnex_Add_(quarn, "METEO", 5, 12, 0, 1, &server, &error) == 0);
  REQUIRE(quarnex_allow_callers_(quarn, server, &caller, 1, &error) == 0);
  REQUIRE(quarnex_Apri_(quarn, server, &error) == 0);
  REQUIRE(quarnex_Invia_(quarn, one, "HELLO", 5, &error) == 0);
  REQUIRE(quarnex_turn_(quarn, 0, &error) == 0);
  REQUIRE(quarnex_next_item_(quarn, other, &kind, &item, &error) == 0 && kind == QUARNEX_ITEM_TEXT);
  REQUIRE(quarnex_snapshot_(quarn, server, &snapshot, &error) == 0 &&
          snapshot.phase == QUARNEX_PHASE_WAITING);
  REQUIRE(quarnex_Add_(quarn, "METEO", 5, 70000, 0, 1, &server, &error) == 6 && error.number == 6);
  REQUIRE(quarnex_flush_flight_(10000, &losses, &error) == 0 && losses.bytes == 0);
  quarnex_destroy_(quarn);
  REQUIRE(dlclose(library) == 0);
  REQUIRE(dlopen(path, RTLD_NOW | RTLD_NOLOAD) == NULL);
}

static int next_descriptor(void) {
  const int descriptor = open("/dev/null", O_RDONLY);
  close(descriptor);
  return descriptor;
}

int main(int argc, char** argv) {
  REQUIRE(argc == 4);
  // The runtime of C++ stays loaded, and malloc keeps some freed blocks.
  for (int times = 0; times < 10; ++times) use_once(argv[1], argv[3]);
  const int descriptor = next_descriptor();
  const size_t bytes = mallinfo2().uordblks;
  for (int times = atoi(argv[2]); times > 0; --times) use_once(argv[1], argv[3]);
  REQUIRE(next_descriptor() == descriptor);
  REQUIRE(mallinfo2().uordblks <= bytes + 16384);
  return 0;
}
