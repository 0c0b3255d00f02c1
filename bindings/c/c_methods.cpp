// The 15 methods, the loop and the links' news for hosts in C.
#include "c/c_boundary.h"
#include "quarnex/version.h"

using quarnex::QuarnSocket;
using namespace quarnex::c;

const char* quarnex_version() {
  return QUARNEX_VERSION;
}

int32_t quarnex_create(quarnex_instance** created, quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_instance*& into = required(created);
    into = new quarnex_instance;
  });
}

void quarnex_destroy(quarnex_instance* instance) {
  delete instance;
}

int32_t quarnex_Add(quarnex_instance* instance, const char* type, size_t type_length, int32_t identifier,
                    int32_t client, int32_t tcp, int32_t* link, quarnex_error* error) {
  return ask<&QuarnSocket::Add>(instance, link, error, CallerText{type, type_length}, identifier, client != 0,
                                tcp != 0);
}

int32_t quarnex_GetMessaggioArrivato(quarnex_instance* instance, int32_t link, quarnex_text* item,
                                     quarnex_error* error) {
  return ask<&QuarnSocket::GetMessaggioArrivato>(instance, item, error, link);
}

int32_t quarnex_ProntoPerUscire(quarnex_instance* instance, int32_t* ready, quarnex_error* error) {
  return ask<&QuarnSocket::ProntoPerUscire>(instance, ready, error);
}

int32_t quarnex_Invia(quarnex_instance* instance, int32_t link, const char* text, size_t length,
                      quarnex_error* error) {
  return call<&QuarnSocket::Invia>(instance, error, link, CallerText{text, length});
}

int32_t quarnex_Apri(quarnex_instance* instance, int32_t link, quarnex_error* error) {
  return call<&QuarnSocket::Apri>(instance, error, link);
}

int32_t quarnex_Chiudi(quarnex_instance* instance, int32_t link, quarnex_error* error) {
  return call<&QuarnSocket::Chiudi>(instance, error, link);
}

int32_t quarnex_Init(quarnex_instance* instance, const char* log_prefix, size_t length,
                     quarnex_error* error) {
  return call<&QuarnSocket::Init>(instance, error, CallerText{log_prefix, length});
}

int32_t quarnex_Uscita(quarnex_instance* instance, quarnex_error* error) {
  return call<&QuarnSocket::Uscita>(instance, error);
}

int32_t quarnex_MessaggioArrivato(quarnex_instance* instance, int32_t link, int32_t* arrived,
                                  quarnex_error* error) {
  return ask<&QuarnSocket::MessaggioArrivato>(instance, arrived, error, link);
}

int32_t quarnex_GetDebug(quarnex_instance* instance, int32_t link, quarnex_text* trace,
                         quarnex_error* error) {
  return ask<&QuarnSocket::GetDebug>(instance, trace, error, link);
}

int32_t quarnex_AttivaDebug(quarnex_instance* instance, int32_t link, quarnex_error* error) {
  return call<&QuarnSocket::AttivaDebug>(instance, error, link);
}

int32_t quarnex_DisattivaDebug(quarnex_instance* instance, int32_t link, quarnex_error* error) {
  return call<&QuarnSocket::DisattivaDebug>(instance, error, link);
}

int32_t quarnex_AttivaLog(quarnex_instance* instance, quarnex_error* error) {
  return call<&QuarnSocket::AttivaLog>(instance, error);
}

int32_t quarnex_DisattivaLog(quarnex_instance* instance, int32_t link, quarnex_error* error) {
  return call<&QuarnSocket::DisattivaLog>(instance, error, link);
}

int32_t quarnex_Connesso(quarnex_instance* instance, int32_t link, int32_t* connected, quarnex_error* error) {
  return ask<&QuarnSocket::Connesso>(instance, connected, error, link);
}

int32_t quarnex_turn(quarnex_instance* instance, int64_t max_wait_ms, quarnex_error* error) {
  return guarded(error, [&] { required(instance).loop.turn(duration(max_wait_ms)); });
}

int32_t quarnex_next_deadline(quarnex_instance* instance, int64_t* ms, quarnex_error* error) {
  return guarded(error, [&] { required(ms) = required(instance).loop.nextDeadline().count(); });
}

#ifndef _WIN32
int32_t quarnex_fd(quarnex_instance* instance, int32_t* fd, quarnex_error* error) {
  return guarded(error, [&] { required(fd) = required(instance).loop.fd(); });
}
#endif

int32_t quarnex_next_item(quarnex_instance* instance, int32_t link, int32_t* kind, quarnex_text* item,
                          quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_instance& owner = required(instance);
    int32_t& itemKind = required(kind);
    quarnex_text& text = required(item);
    const bool isReport = owner.quarn.reportWaits(link);
    give(owner, text, owner.quarn.GetMessaggioArrivato(link));
    itemKind = isReport ? QUARNEX_ITEM_REPORT : text.length > 0 ? QUARNEX_ITEM_TEXT : QUARNEX_ITEM_NONE;
  });
}

int32_t quarnex_report_waits(quarnex_instance* instance, int32_t link, int32_t* waits, quarnex_error* error) {
  return ask<&QuarnSocket::reportWaits>(instance, waits, error, link);
}

int32_t quarnex_links_with_news(quarnex_instance* instance, const int16_t** links, size_t* count,
                                quarnex_error* error) {
  return guarded(error, [&] {
    const int16_t*& first = required(links);
    size_t& number = required(count);
    quarnex_instance& owner = required(instance);
    owner.links = owner.quarn.linksWithNews();
    first = owner.links.data();
    number = owner.links.size();
  });
}
