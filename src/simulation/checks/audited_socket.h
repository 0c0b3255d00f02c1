// AuditedSocket: a socket whose frames, calls, looks for bytes and failures somebody sees.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "services/socket_service.h"

namespace quarnex::simulation {

class SocketAudit {
 public:
  virtual ~SocketAudit() = default;
  virtual void sends(SocketArray array, std::int16_t index, std::string_view bytes) = 0;
  virtual void calls(std::int16_t clientIndex) = 0;
  virtual void listens(std::int16_t serverIndex) = 0;
  /// `bytesLost`: with what it fails to hand over.
  virtual void fails(SocketArray array, std::int16_t index, bool bytesLost) = 0;
};

class AuditedSocket final : public SocketInstance {
 public:
  AuditedSocket(std::unique_ptr<SocketInstance> inner, SocketAudit& audit, SocketArray array,
                std::int16_t index)
      : inner_(std::move(inner)), audit_(audit), array_(array), index_(index) {}

  /// Whether the engine has looked for bytes since this was asked last.
  bool wasLookedAt() { return std::exchange(lookedAt_, false); }

  std::int32_t state() override {
    return watched([&] { return inner_->state(); });
  }
  std::string statusText() override {
    return watched([&] { return inner_->statusText(); });
  }
  std::int32_t localPort() override {
    return watched([&] { return inner_->localPort(); });
  }
  void setLocalPort(std::int32_t port) override {
    watched([&] { inner_->setLocalPort(port); });
  }
  std::int32_t remotePort() override {
    return watched([&] { return inner_->remotePort(); });
  }
  void setRemotePort(std::int32_t port) override {
    watched([&] { inner_->setRemotePort(port); });
  }
  void setLocalAddress(std::string_view dotted) override {
    watched([&] { inner_->setLocalAddress(dotted); });
  }
  std::string remoteHost() override {
    return watched([&] { return inner_->remoteHost(); });
  }
  void setRemoteHost(std::string_view dotted) override {
    watched([&] { inner_->setRemoteHost(dotted); });
  }
  void close() override {
    watched([&] { inner_->close(); });
  }
  void prepareA() override {
    watched([&] { inner_->prepareA(); });
  }
  void prepareB() override {
    watched([&] { inner_->prepareB(); });
  }
  void connect() override {
    audit_.calls(index_);
    watched([&] { inner_->connect(); });
  }
  void listen() override {
    audit_.listens(index_);
    watched([&] { inner_->listen(); });
  }
  void attach(std::int32_t handle) override {
    watched([&] { inner_->attach(handle); });
  }
  std::int32_t bytesWaiting() override {
    lookedAt_ = true;
    return watched([&] { return inner_->bytesWaiting(); });
  }
  void fetch() override {
    watched([&] { inner_->fetch(); }, true);
  }
  std::string_view receivedText() override {
    return watched([&] { return inner_->receivedText(); }, true);
  }
  void send(std::string_view bytes) override {
    audit_.sends(array_, index_, bytes);
    watched([&] { inner_->send(bytes); });
  }

 private:
  // To catch a failure and throw it again would cost more than all else of it.
  class Watch {
   public:
    Watch(AuditedSocket& socket, bool fetching) : socket_(socket), fetching_(fetching) {}
    ~Watch() {
      if (!succeeded) socket_.audit_.fails(socket_.array_, socket_.index_, fetching_);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    bool succeeded = false;

   private:
    AuditedSocket& socket_;
    bool fetching_;
  };

  template <class Effect>
  std::invoke_result_t<Effect&> watched(Effect&& effect, bool fetching = false) {
    Watch watch(*this, fetching);
    if constexpr (std::is_void_v<std::invoke_result_t<Effect&>>) {
      effect();
      watch.succeeded = true;
    } else {
      auto result = effect();
      watch.succeeded = true;
      return result;
    }
  }

  std::unique_ptr<SocketInstance> inner_;
  SocketAudit& audit_;
  SocketArray array_;
  std::int16_t index_;
  bool lookedAt_ = false;
};

}  // namespace quarnex::simulation
