#include "station/virtual_place.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <string_view>
#include <system_error>

#include "daemon/server/server.h"
#include "virtual_phone/core/phone.h"

namespace station {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

// What the two processes say to each other, a message each.
constexpr char kNext[] = "next";       // to the keeper: a fresh phone
constexpr char kGiveUp[] = "give up";  // the phone there is not needed any more
constexpr char kReady[] = "ready";     // from it: the phone can be reached
constexpr char kGone[] = "gone";       // it was given up
// Any other message says why there is no phone.

[[noreturn]] void fail() { throw std::system_error(errno, std::generic_category(), "a process"); }

bool say(int socket, std::string_view text) {
  return TEMP_FAILURE_RETRY(send(socket, text.data(), text.size(), MSG_NOSIGNAL)) >= 0;
}

/// "" at the end.
std::string heard(int socket) {
  std::array<char, 4096> bytes{};
  const ssize_t count = TEMP_FAILURE_RETRY(recv(socket, bytes.data(), bytes.size(), 0));
  return {bytes.data(), count < 0 ? 0 : static_cast<size_t>(count)};
}

/// Ends with the process that has forked this one.
void end_with(pid_t parent) {
  // It cannot fail for a signal's number.
  static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));
  if (getppid() != parent) _exit(0);
}

struct PlaceFiles {
  fs::path phones;  ///< one after another, each in a folder of its own
  fs::path socket;
};

[[noreturn]] void serve_phone(int socket, const fs::path& phone, const std::string& profile,
                              const fs::path& at) {
  try {
    virtual_phone::create(phone, profile, false);
    factory_daemon::ServerOptions options;
    options.phone = phone;
    options.about = "{}";
    options.socket = at;
    const factory_daemon::Reports none = {[](const auto&) { return std::string(); },
                                          [](const auto&, bool, bool) { return std::string(); }};
    factory_daemon::serve(options, none, [socket](const auto&) {
      if (!say(socket, kReady)) _exit(1);
    });
    _exit(0);
  } catch (const std::exception& error) {
    // Who does not hear it sees that nothing is served.
    static_cast<void>(say(socket, error.what()));
    _exit(1);
  }
}

/// The process that makes phones, and has them served by a child.
class Keeper {
 public:
  Keeper(int socket, PlaceFiles files, std::string profile)
      : socket_(socket), files_(std::move(files)), profile_(std::move(profile)) {}

  [[noreturn]] void run(pid_t parent) {
    end_with(parent);
    // Signals of the terminal are for the station, which ends its phones in their order. It leads
    // no group of processes yet, and so it can.
    static_cast<void>(setsid());
    const unique_fd nowhere(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO}) {
      if (dup2(nowhere.get(), fd) < 0) _exit(1);
    }
    for (std::string order = heard(socket_); !order.empty(); order = heard(socket_)) {
      give_up();
      if (order == kNext) begin();
      if (order == kGiveUp && !say(socket_, kGone)) break;
    }
    give_up();
    _exit(0);
  }

 private:
  void begin() {
    const pid_t keeper = getpid();
    // A process that was killed may still be about to end, and write into the last one.
    const fs::path folder = files_.phones / std::to_string(++phones_);
    server_ = fork();
    if (server_ == 0) {
      end_with(keeper);
      serve_phone(socket_, folder / profile_, profile_, files_.socket);
    }
    // Who does not hear it sees that nothing is served.
    if (server_ < 0) static_cast<void>(say(socket_, "no process can be made"));
  }

  void give_up() {
    if (server_ > 0 && kill(server_, SIGKILL) == 0) {
      // It is this one's child: there is nothing else that could come.
      static_cast<void>(TEMP_FAILURE_RETRY(waitpid(server_, nullptr, 0)));
    }
    server_ = 0;
    std::error_code ignored;  // what stays is gone with the whole directory
    fs::remove_all(files_.phones / std::to_string(phones_), ignored);
    fs::remove(files_.socket, ignored);
  }

  const int socket_;
  const PlaceFiles files_;
  const std::string profile_;
  pid_t server_ = 0;
  uint64_t phones_ = 0;
};

class VirtualPlace : public PhonePlace {
 public:
  VirtualPlace(const fs::path& directory, const std::string& profile, size_t number)
      : name_("phone " + std::to_string(number)),
        files_{directory / "phones" / std::to_string(number),
               directory / (std::to_string(number) + ".s")} {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) fail();
    ours_.reset(ends[0]);
    const unique_fd its(ends[1]);
    const pid_t station = getpid();
    keeper_ = fork();
    if (keeper_ < 0) fail();
    if (keeper_ != 0) return;
    ours_.reset();
    Keeper(its.get(), files_, profile).run(station);
  }

  ~VirtualPlace() override {
    // Other keepers have this end, too: closing it would not be seen.
    static_cast<void>(shutdown(ours_.get(), SHUT_RDWR));
    static_cast<void>(TEMP_FAILURE_RETRY(waitpid(keeper_, nullptr, 0)));  // its only end
  }

  std::unique_ptr<UnitLink> next() override;
  std::string name() const override { return name_; }

  void give_up() {
    if (!say(ours_.get(), kGiveUp)) return;
    // A phone that has come too late may speak first.
    for (std::string told = "-"; !told.empty() && told != kGone;) told = answer();
  }

 private:
  /// "" when there is none in time.
  std::string answer() {
    constexpr int kLimitMs = 60'000;
    pollfd watched{ours_.get(), POLLIN, 0};
    if (TEMP_FAILURE_RETRY(poll(&watched, 1, kLimitMs)) <= 0) return "";
    return heard(ours_.get());
  }

  const std::string name_;
  const PlaceFiles files_;
  unique_fd ours_;
  pid_t keeper_ = 0;
};

/// A phone that is killed and removed with its link.
class VirtualUnit : public UnitLink {
 public:
  VirtualUnit(VirtualPlace& place, std::unique_ptr<UnitLink> link)
      : place_(place), link_(std::move(link)) {}
  ~VirtualUnit() override {
    link_.reset();
    place_.give_up();
  }

  factory_daemon::CommandAnswer command(const factory_daemon::CommandRequest& request,
                                        TimePoint until) override {
    return link_->command(request, until);
  }
  factory_daemon::AtResult at_line(const factory_daemon::AtRequest& request,
                                   TimePoint until) override {
    return link_->at_line(request, until);
  }
  factory_daemon::StartAnswer start(const factory_daemon::StartRequest& request,
                                    TimePoint until) override {
    return link_->start(request, until);
  }

 private:
  VirtualPlace& place_;
  std::unique_ptr<UnitLink> link_;
};

std::unique_ptr<UnitLink> VirtualPlace::next() {
  std::string told;
  if (say(ours_.get(), kNext)) told = answer();
  if (told == kReady) {
    return std::make_unique<VirtualUnit>(*this, connected_unit(files_.socket.string(), ""));
  }
  give_up();
  throw LinkLost("no phone could be made: " + (told.empty() ? "it takes too long" : told));
}

}  // namespace

std::unique_ptr<PhonePlace> virtual_place(const fs::path& directory, const std::string& profile,
                                          size_t number) {
  return std::make_unique<VirtualPlace>(directory, profile, number);
}

}  // namespace station
