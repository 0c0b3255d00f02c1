// Measures calls of the registered component class, early bound, beside the same calls in C++, and prints how
// many nanoseconds the class adds to a call. Both have a link inside the process.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include <oleauto.h>

#include "quarnex/quarn_socket.h"
#include "quarnex_idl.h"

namespace quarnex {
namespace {

constexpr int kCalls = 1000, kRepetitions = 300;
const std::string kText(100, 'x');

/// Nanoseconds of one call, in the repetition that the fewest other programs disturbed.
template <class Call>
double nanosecondsOf(const Call& call) {
  LARGE_INTEGER frequency, begin, end;
  ::QueryPerformanceFrequency(&frequency);
  std::int64_t least = INT64_MAX;
  for (int repetition = 0; repetition < kRepetitions; ++repetition) {
    ::QueryPerformanceCounter(&begin);
    for (int i = 0; i < kCalls; ++i) call();
    ::QueryPerformanceCounter(&end);
    least = std::min<std::int64_t>(least, end.QuadPart - begin.QuadPart);
  }
  return static_cast<double>(least) * 1e9 / static_cast<double>(frequency.QuadPart) / kCalls;
}

void report(const char* call, double direct, double component, const char* beside = "") {
  std::printf("%-30s %6.0f ns in C++, %6.0f ns by the component class: %+5.0f ns%s\n", call, direct,
              component, component - direct, beside);
}

void measure(_QuarnSocket& component) {
  QuarnSocket quarn;
  quarn.Add("BENCH", 1, true, false);
  quarn.Add("BENCH", 1, false, false);
  BSTR type = ::SysAllocString(L"BENCH"), text = ::SysAllocString(std::wstring(100, L'x').c_str());
  short identifier = 1, from = 0, to = 0;
  VARIANT_BOOL client = VARIANT_TRUE, server = VARIANT_FALSE, tcp = VARIANT_FALSE, connected = VARIANT_FALSE;
  component.Add(&type, &identifier, &client, &tcp, &from);
  component.Add(&type, &identifier, &server, &tcp, &to);

  report("Connesso", nanosecondsOf([&] { quarn.Connesso(1); }),
         nanosecondsOf([&] { component.Connesso(&from, &connected); }));
  const double allocation = nanosecondsOf([&] { ::SysFreeString(::SysAllocStringLen(text, 100)); });
  char beside[80];
  std::snprintf(beside, sizeof beside, " for two texts; the allocation of one takes %.0f ns", allocation);
  report("Invia and GetMessaggioArrivato", nanosecondsOf([&] {
           quarn.Invia(1, kText);
           quarn.GetMessaggioArrivato(2);
         }),
         nanosecondsOf([&] {
           BSTR received = nullptr;
           component.Invia(&from, &text);
           component.GetMessaggioArrivato(&to, &received);
           ::SysFreeString(received);
         }),
         beside);
  ::SysFreeString(text);
  ::SysFreeString(type);
}

int run() {
  CLSID found{};
  _QuarnSocket* component = nullptr;
  if (FAILED(::CLSIDFromProgID(L"Quarnex.QuarnSocket", &found)) ||
      FAILED(::CoCreateInstance(found, nullptr, CLSCTX_INPROC_SERVER, __uuidof(_QuarnSocket),
                                reinterpret_cast<void**>(&component)))) {
    std::fprintf(stderr, "The component class is not registered: regsvr32 quarnex.dll\n");
    return 1;
  }
  measure(*component);
  component->Release();
  return 0;
}

}  // namespace
}  // namespace quarnex

int main() {
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int status = quarnex::run();
  ::CoUninitialize();
  return status;
}
