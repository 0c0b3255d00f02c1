// One recorded socket instance.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "recording/format/plain_model.h"
#include "recording/recorder/tape.h"
#include "services/socket_service.h"

namespace quarnex::recording {

class RecordedSocket final : public SocketInstance {
 public:
  RecordedSocket(Tape& tape, SocketId id) : tape_(tape), id_(id) {}

  void wrap(std::unique_ptr<SocketInstance> inner) { inner_ = std::move(inner); }
  /// What an event makes of the instance.
  void become(SocketState state) { model_.status = statusOf(state); }

  std::int32_t state() override;
  std::string statusText() override;
  std::int32_t localPort() override;
  void setLocalPort(std::int32_t port) override;
  std::int32_t remotePort() override;
  void setRemotePort(std::int32_t port) override;
  void setLocalAddress(std::string_view dotted) override;
  std::string remoteHost() override;
  void setRemoteHost(std::string_view dotted) override;
  void close() override;
  void prepareA() override;
  void prepareB() override;
  void connect() override;
  void listen() override;
  void attach(std::int32_t handle) override;
  std::int32_t bytesWaiting() override;
  void fetch() override;
  std::string_view receivedText() override;
  void send(std::string_view bytes) override;

 private:
  template <class Operate>
  void perform(Operation operation, Operate&& operate, Operand argument = {}) {
    tape_.perform({operation, id_, argument}, operate);
  }
  template <class Field>
  class Change;
  /// Changes the model at once, and back if the operation fails.
  template <class Field, class Operate>
  void change(Operation operation, Field& field, Field value, Operate&& operate, Operand argument = {});

  Tape& tape_;
  SocketId id_;
  std::unique_ptr<SocketInstance> inner_;
  SocketModel model_;
  std::string_view receivedAsPlayed_;  // in the inner instance, until the next fetch of any
  Reading<std::int32_t> state_, localPort_, remotePort_, bytesWaiting_;
  Reading<std::string> statusText_, remoteHost_;
  Reading<std::string_view> received_;
};

}  // namespace quarnex::recording
