// The C interface in the loop of libuv, beside standard input (a pipe): lines go in at one end of a link and
// come out at the other. A host of your own usually has one end only.
#include <stdio.h>
#include <string.h>
#include <uv.h>

#include "quarnex/quarnex.h"

static quarnex_instance* quarn;
static int32_t server, client;
static uv_pipe_t input;
static char pending[4096];
static size_t length;

static int32_t open_link(int32_t calls) {
  int32_t link = 0;
  quarnex_Add(quarn, "METEO", 5, 10, calls, 1, &link, NULL);
  quarnex_Apri(quarn, link, NULL);
  return link;
}

static void on_space_needed(uv_handle_t* handle, size_t suggested, uv_buf_t* space) {
  (void)handle, (void)suggested;
  *space = uv_buf_init(pending + length, (unsigned)(sizeof pending - length));
}

// Sends the complete lines. The input ends with a failure at a line that does not fit.
static void on_input(uv_stream_t* stream, ssize_t count, const uv_buf_t* space) {
  (void)space;
  if (count < 0) {
    uv_close((uv_handle_t*)stream, NULL);
    quarnex_drain_and_leave(quarn, 60000, NULL);
    return;
  }
  length += (size_t)count;
  for (char* end; (end = memchr(pending, '\n', length)) != NULL;) {
    const size_t line = (size_t)(end - pending);
    uint64_t number = 0;
    int32_t refusal = 0;
    quarnex_send(quarn, client, pending, line, &number, &refusal, NULL);
    if (number == 0) fprintf(stderr, "not sent: %s\n", quarnex_refusal_name(refusal));
    length -= line + 1;
    memmove(pending, end + 1, length);
  }
}

// Input waits while the link is down, because the next attempt to connect may drop queued texts.
static void on_work(uv_poll_t* work, int status, int events) {
  int32_t kind = 0, connected = 0, ready = 0;
  quarnex_text item;
  (void)events;
  if (status != 0 || quarnex_turn(quarn, 0, NULL) != 0) uv_stop(work->loop);
  while (quarnex_next_item(quarn, server, &kind, &item, NULL) == 0 && kind != QUARNEX_ITEM_NONE)
    if (kind == QUARNEX_ITEM_TEXT) printf("%.*s\n", (int)item.length, item.bytes);
  fflush(stdout);
  quarnex_Connesso(quarn, client, &connected, NULL);
  if (!connected) uv_read_stop((uv_stream_t*)&input);
  if (connected) uv_read_start((uv_stream_t*)&input, on_space_needed, on_input);  // fails once it is closed
  quarnex_ProntoPerUscire(quarn, &ready, NULL);
  if (ready) uv_close((uv_handle_t*)work, NULL);
}

int main(void) {
  uv_loop_t* const loop = uv_default_loop();
  uv_poll_t work;
  int32_t fd = -1;
  if (quarnex_create(&quarn, NULL) != 0 || quarnex_fd(quarn, &fd, NULL) != 0) return 1;
  if (uv_poll_init(loop, &work, fd) != 0 || uv_poll_start(&work, UV_READABLE, on_work) != 0) return 1;
  if (uv_pipe_init(loop, &input, 0) != 0 || uv_pipe_open(&input, 0) != 0) return 1;
  server = open_link(0);
  client = open_link(1);
  const int stopped = uv_run(loop, UV_RUN_DEFAULT);
  quarnex_destroy(quarn);
  return stopped;
}
