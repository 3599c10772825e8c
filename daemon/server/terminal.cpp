#include "daemon/server/terminal.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace factory_daemon {
namespace {

namespace fs = std::filesystem;
using android::base::unique_fd;

constexpr char kWhat[] = "the pseudo-terminal";

void check(int result) {
  if (result < 0) throw loop_error(kWhat, -errno);
}

bool is_number(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Whether a directory has such an entry. Processes end while they are looked at, and others' files
/// may not be: what cannot be read has none.
template <typename IsOne>
bool has_entry(const fs::path& directory, IsOne is_one) {
  std::error_code error;
  fs::directory_iterator entry(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (is_one(entry->path())) return true;
  }
  return false;
}

/// Makes a link at once, in place of another one.
void make_link(const std::string& target, const fs::path& link) {
  std::error_code error;
  if (fs::exists(fs::symlink_status(link, error)) && !fs::is_symlink(link, error)) {
    throw LoopError(link.string() + " is there, and no link: left alone");
  }
  const fs::path made = link.string() + "." + std::to_string(getpid());
  fs::create_symlink(target, made, error);
  if (!error) fs::rename(made, link, error);
  if (!error) return;
  std::error_code ignored;  // of what may not be there
  fs::remove(made, ignored);
  throw LoopError(link.string() + ": " + error.message());
}

}  // namespace

Terminal::Terminal(Loop& loop, fs::path link, std::function<void(const Left& left)> left)
    : link_(std::move(link)),
      left_(std::move(left)),
      master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  check(master_.get());
  check(grantpt(master_.get()));
  check(unlockpt(master_.get()));
  std::array<char, 64> name{};
  if (ptsname_r(master_.get(), name.data(), name.size()) != 0) check(-1);
  name_ = name.data();
  slave_.reset(open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  check(slave_.get());
  prepare();
  news_.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  check(news_.get());
  check(inotify_add_watch(news_.get(), name_.c_str(), IN_CLOSE | IN_OPEN));
  watch_.emplace(loop, news_.get(), [this] { look_who_left(); });
  if (!link_.empty()) make_link(name_, link_);
}

Terminal::~Terminal() {
  std::error_code ignored;  // another server's may have its place
  if (!link_.empty() && fs::read_symlink(link_, ignored) == name_) fs::remove(link_, ignored);
}

int Terminal::duplicate() const {
  const int copy = fcntl(master_.get(), F_DUPFD_CLOEXEC, 0);
  check(copy);
  return copy;
}

/// Bytes as they are: no echo of the terminal's own, no line ends changed.
void Terminal::prepare() {
  termios settings{};
  check(tcgetattr(slave_.get(), &settings));
  cfmakeraw(&settings);
  check(tcsetattr(slave_.get(), TCSANOW, &settings));
}

void Terminal::share() {
  // A terminal that cannot do it takes nobody's exclusive use either.
  static_cast<void>(ioctl(slave_.get(), TIOCNXCL));
}

std::string Terminal::what_is_left() {
  std::string left;
  std::array<char, 4096> bytes{};
  // Its end for the server does not block.
  for (ssize_t count = 0; (count = read(master_.get(), bytes.data(), bytes.size())) > 0;) {
    left.append(bytes.data(), static_cast<size_t>(count));
  }
  return left;
}

void Terminal::drop_what_is_left(bool is_open) {
  // Else an echo that a client has asked the terminal for may still be among it. Both fail only for
  // what is no terminal.
  static_cast<void>(tcflush(master_.get(), is_open ? TCOFLUSH : TCIOFLUSH));
  static_cast<void>(tcflush(slave_.get(), is_open ? TCIFLUSH : TCIOFLUSH));  // likewise
}

bool Terminal::is_open_elsewhere() const {
  const std::string own = std::to_string(getpid());
  return has_entry("/proc", [&](const fs::path& process) {
    const std::string id = process.filename().string();
    return is_number(id) && id != own && has_entry(process / "fd", [&](const fs::path& file) {
             std::error_code ignored;  // it may be closed by now
             return fs::read_symlink(file, ignored) == name_;
           });
  });
}

/// What has happened to it since the last look.
void Terminal::add_to(News& news) {
  // A file's news have no names: they are all of one size.
  std::array<inotify_event, 64> events{};
  for (ssize_t size = 0; (size = read(news_.get(), events.data(), sizeof events)) > 0;) {
    const auto count = static_cast<size_t>(size) / sizeof(inotify_event);
    for (size_t i = 0; i < count; ++i) {
      news.closed = news.closed || (events[i].mask & IN_CLOSE) != 0;
      news.opened = (events[i].mask & IN_OPEN) != 0;
    }
  }
}

void Terminal::look_who_left() {
  News news;
  add_to(news);
  while (std::exchange(news.closed, false)) {
    share();
    Left left{what_is_left()};
    add_to(news);
    left.is_known = !news.opened;
    const bool is_open = is_open_elsewhere();
    add_to(news);
    left.is_open = is_open || news.opened;
    left.is_over = left.is_known && (!is_open || news.opened);
    news.opened = false;
    try {
      if (left.is_over) prepare();
    } catch (const LoopError&) {
      // The next client finds it as the last one has left it.
    }
    left_(left);
  }
}

}  // namespace factory_daemon
