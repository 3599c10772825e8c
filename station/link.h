// How a run of a plan reaches the phone of a unit.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "daemon/server/frames.h"

namespace station {

using TimePoint = std::chrono::steady_clock::time_point;

/// A request was answered with an error. Further requests may do better.
class RequestRefused : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The phone cannot be reached any more, or not at all. what() says why.
class LinkLost : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// There was no answer in time. The link is of no more use: the answer may still come.
class LinkLate : public std::runtime_error {
 public:
  LinkLate() : std::runtime_error("no answer in time") {}
};

/// The phone of one unit; given up with this object. Each function throws what is above. What the
/// phone refuses because it starts is sent again, as long as there is time.
class UnitLink {
 public:
  UnitLink() = default;
  virtual ~UnitLink() = default;
  UnitLink(const UnitLink&) = delete;
  UnitLink& operator=(const UnitLink&) = delete;

  virtual factory_daemon::CommandAnswer command(const factory_daemon::CommandRequest& request,
                                                TimePoint until) = 0;
  virtual factory_daemon::AtResult at_line(const factory_daemon::AtRequest& request,
                                           TimePoint until) = 0;
  virtual factory_daemon::StartAnswer start(const factory_daemon::StartRequest& request,
                                            TimePoint until) = 0;
};

/// A place where phones are tested, one after another.
class PhonePlace {
 public:
  PhonePlace() = default;
  virtual ~PhonePlace() = default;
  PhonePlace(const PhonePlace&) = delete;
  PhonePlace& operator=(const PhonePlace&) = delete;

  /// The phone of the next unit, when that of the last one was given up. Throws LinkLost.
  virtual std::unique_ptr<UnitLink> next() = 0;
  /// What it is called in reports.
  virtual std::string name() const = 0;
};

/// A server (`fcx serve`) at this address, where one phone after another is attached.
std::unique_ptr<PhonePlace> served_place(const std::string& address, const std::string& token);

/// A link to the server there. Throws LinkLost.
std::unique_ptr<UnitLink> connected_unit(const std::string& address, const std::string& token);

}  // namespace station
