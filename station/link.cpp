#include "station/link.h"

#include <algorithm>
#include <thread>

#include "daemon/server/client.h"

namespace station {
namespace {

using factory_daemon::AnswerError;
using factory_daemon::AtRequest;
using factory_daemon::AtResult;
using factory_daemon::Client;
using factory_daemon::CommandAnswer;
using factory_daemon::CommandRequest;
using factory_daemon::FrameError;
using factory_daemon::StartAnswer;
using factory_daemon::StartRequest;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long a server may take to be reached.
constexpr int64_t kConnectingMs = 10'000;

/// Whether more can be asked after an error.
bool goes_on_after(FrameError error) {
  switch (error) {
    case FrameError::restarting:
    case FrameError::interrupted:
    case FrameError::switched_off:
    case FrameError::out_of_time:
    case FrameError::unknown:
      return true;
    default:
      return false;
  }
}

class ServedUnit : public UnitLink {
 public:
  ServedUnit(const std::string& address, const std::string& token)
      : client_(address, token, kConnectingMs) {}

  CommandAnswer command(const CommandRequest& request, TimePoint until) override {
    return asked(until, [&] { return client_.command(request, false); });
  }
  AtResult at_line(const AtRequest& request, TimePoint until) override {
    return asked(until, [&] { return client_.at_line(request); });
  }
  StartAnswer start(const StartRequest& request, TimePoint until) override {
    return asked(until, [&] { return client_.start(request); });
  }

 private:
  template <typename Ask>
  auto asked(TimePoint until, Ask&& ask) -> decltype(ask()) {
    constexpr milliseconds kPatience(5);  // a start takes longer than that
    for (;;) {
      const auto left = duration_cast<milliseconds>(until - steady_clock::now());
      if (left.count() <= 0) throw LinkLate();
      client_.set_limit(left.count());
      try {
        return ask();
      } catch (const AnswerError& error) {
        if (!goes_on_after(error.error())) throw LinkLost(error.what());
        if (error.error() != FrameError::restarting) throw RequestRefused(error.what());
      } catch (const factory_daemon::LateError&) {
        throw LinkLate();
      } catch (const factory_daemon::ServerError& error) {
        throw LinkLost(error.what());
      }
      std::this_thread::sleep_for(std::min<milliseconds>(left, kPatience));
    }
  }

  Client client_;
};

class ServedPlace : public PhonePlace {
 public:
  ServedPlace(std::string address, std::string token)
      : address_(std::move(address)), token_(std::move(token)) {}

  std::unique_ptr<UnitLink> next() override { return connected_unit(address_, token_); }
  std::string name() const override { return address_; }

 private:
  const std::string address_;
  const std::string token_;
};

}  // namespace

std::unique_ptr<UnitLink> connected_unit(const std::string& address, const std::string& token) {
  try {
    return std::make_unique<ServedUnit>(address, token);
  } catch (const factory_daemon::ServerError& error) {
    throw LinkLost(error.what());
  }
}

std::unique_ptr<PhonePlace> served_place(const std::string& address, const std::string& token) {
  return std::make_unique<ServedPlace>(address, token);
}

}  // namespace station
