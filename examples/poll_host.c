// The C interface in a poll(2) loop of the host's own, beside standard input: lines go in at one end of a
// link and come out at the other. A host of your own usually has one end only.
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "quarnex/quarnex.h"

static quarnex_instance* quarn;

static int32_t open_link(int32_t calls) {
  int32_t link = 0;
  quarnex_Add(quarn, "METEO", 5, 9, calls, 1, &link, NULL);
  quarnex_Apri(quarn, link, NULL);
  return link;
}

// Sends the complete lines of the input and returns the number of bytes that are left.
static size_t send_lines(int32_t link, char* input, size_t length) {
  char *line = input, *const end = input + length;
  for (char* next; (next = memchr(line, '\n', (size_t)(end - line))) != NULL; line = next + 1) {
    uint64_t number = 0;
    int32_t refusal = 0;
    quarnex_send(quarn, link, line, (size_t)(next - line), &number, &refusal, NULL);
    if (number == 0) fprintf(stderr, "not sent: %s\n", quarnex_refusal_name(refusal));
  }
  memmove(input, line, (size_t)(end - line));
  return (size_t)(end - line);
}

static void print_texts(int32_t link) {
  int32_t kind = 0;
  quarnex_text item;
  while (quarnex_next_item(quarn, link, &kind, &item, NULL) == 0 && kind != QUARNEX_ITEM_NONE)
    if (kind == QUARNEX_ITEM_TEXT) printf("%.*s\n", (int)item.length, item.bytes);
  fflush(stdout);
}

int main(void) {
  char input[4096];
  size_t length = 0;
  int32_t fd = -1, connected = 0, ready = 0;
  int input_open = 1;
  quarnex_error error = {.size = sizeof error};
  if (quarnex_create(&quarn, &error) != 0 || quarnex_fd(quarn, &fd, &error) != 0) {
    fprintf(stderr, "%d %s\n", (int)error.number, error.description);
    return 1;
  }
  const int32_t server = open_link(0), client = open_link(1);
  while (quarnex_ProntoPerUscire(quarn, &ready, NULL) == 0 && !ready) {
    // Input waits while the link is down, because the next attempt to connect may drop queued texts.
    quarnex_Connesso(quarn, client, &connected, NULL);
    struct pollfd waited[] = {{fd, POLLIN, 0}, {input_open && connected ? STDIN_FILENO : -1, POLLIN, 0}};
    poll(waited, 2, -1);
    if (waited[1].revents != 0) {
      const ssize_t count = read(STDIN_FILENO, input + length, sizeof input - length);
      input_open = count > 0;  // also ends at a line that does not fit
      if (input_open) length = send_lines(client, input, length + (size_t)count);
      if (!input_open) quarnex_drain_and_leave(quarn, 60000, NULL);
    }
    if (waited[0].revents != 0 && quarnex_turn(quarn, 0, &error) != 0) {
      fprintf(stderr, "%d %s\n", (int)error.number, error.description);
      return 1;
    }
    print_texts(server);
  }
  quarnex_destroy(quarn);
  return 0;
}
