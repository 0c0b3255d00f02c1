// The options of quarn listen and quarn call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quarnex::tool {

struct SessionOptions {
  std::string type;
  std::int16_t identifier = 0;
  std::optional<std::string> listenOn;   ///< local address to listen on; none = all
  std::vector<std::string> callers;      ///< addresses that may call; none = everybody
  bool client = false;                   ///< this side calls; otherwise it listens
  int waitSeconds = 30;                  ///< longest wait for an acknowledgement or the close at the end
  std::optional<std::string> logPrefix;  ///< start of the name of a log file; none = no log
  std::optional<std::string> recording;  ///< file for a recording; none = no recording
  bool trace = false;                    ///< print the link's trace
  bool raw = false;                      ///< print reports also as the library returns them
  bool receiveOnly = false;              ///< do not read standard input, and do not end by themselves
  std::vector<std::string> messages;     ///< texts to send instead of standard input; none = standard input
  std::uint64_t count = 0;               ///< end after this number of received texts; 0 = no limit
  int timeoutSeconds = 0;                ///< end after this time; 0 = no limit
  bool once = false;                     ///< end at the first failure of the link
  bool quiet = false;                    ///< print no messages, except the last line if the status is not 0
  bool iso = false;                      ///< print date, time and time zone of messages
  bool json = false;                     ///< write received texts and events as lines of JSON
  bool encode = false;                   ///< encode each line before it is sent
  bool decode = false;                   ///< decode each received text
  bool resend = false;                   ///< send lines again that were dropped or are unknown
  bool allowWords = false;               ///< send lines on which the libraries act

  bool readsInput() const { return !receiveOnly && messages.empty(); }
};

}  // namespace quarnex::tool
