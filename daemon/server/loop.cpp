#include "daemon/server/loop.h"

#include <sys/socket.h>

#include <android-base/unique_fd.h>

#include <array>
#include <utility>

namespace factory_daemon {
namespace {

using android::base::unique_fd;

void check(const char* what, int code) {
  if (code < 0) throw loop_error(what, code);
}

/// A handle whose memory is still to be made a handle of: nothing is to be closed yet.
using Unmade = std::unique_ptr<uv_any_handle>;

template <typename Make>
Handle made(const char* what, void* owner, Make make) {
  Unmade memory = std::make_unique<uv_any_handle>();
  check(what, make(*memory));
  memory->handle.data = owner;
  return Handle(memory.release());
}

template <typename Owner, typename Raw>
Owner& owner_of(Raw* handle) {
  return *static_cast<Owner*>(handle->data);
}

/// A stream's handle, of the kind that a file is.
Handle stream_handle(Loop& loop, int family, void* owner) {
  return made("a stream", owner, [&](uv_any_handle& handle) {
    return family == AF_INET || family == AF_INET6 ? uv_tcp_init(loop.get(), &handle.tcp)
                                                   : uv_pipe_init(loop.get(), &handle.pipe, 0);
  });
}

int family_of(int fd) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  // What is no socket is opened as a pipe is.
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return AF_UNSPEC;
  return address.ss_family;
}

bool is_tcp(const uv_any_handle& handle) { return handle.handle.type == UV_TCP; }

/// Gives a handle the file that it is to be.
Handle opened(Loop& loop, int fd, void* owner) {
  unique_fd file(fd);
  Handle handle = stream_handle(loop, family_of(fd), owner);
  check("a stream",
        is_tcp(*handle) ? uv_tcp_open(&handle->tcp, fd) : uv_pipe_open(&handle->pipe, fd));
  const int taken = file.release();  // the handle closes it
  static_cast<void>(taken);
  return handle;
}

void send_at_once(uv_any_handle& handle) {
  // Of use where it can be set.
  if (is_tcp(handle)) static_cast<void>(uv_tcp_nodelay(&handle.tcp, 1));
}

/// A write that is under way.
struct Write {
  uv_write_t request{};
  std::string bytes;
  std::shared_ptr<Stream*> stream;
};

/// Of all streams: each read is done with before the next.
std::array<char, 65536> read_buffer;

}  // namespace

LoopError loop_error(const std::string& what, int code) {
  return LoopError(what + ": " + uv_strerror(code));
}

void CloseHandle::operator()(uv_any_handle* handle) const {
  handle->handle.data = nullptr;
  uv_close(&handle->handle, [](uv_handle_t* closed) {
    const std::unique_ptr<uv_any_handle> gone(reinterpret_cast<uv_any_handle*>(closed));
  });
}

Loop::Loop() { check("the event loop", uv_loop_init(&loop_)); }

Loop::~Loop() {
  // What is closing comes to its end.
  uv_run(&loop_, UV_RUN_DEFAULT);
  // Fails for handles that somebody still has, which is a mistake of this program's.
  static_cast<void>(uv_loop_close(&loop_));
}

void Loop::run() { uv_run(&loop_, UV_RUN_DEFAULT); }

void Loop::stop() { uv_stop(&loop_); }

Timer::Timer(Loop& loop, std::function<void()> run)
    : run_(std::move(run)), handle_(made("a timer", this, [&](uv_any_handle& handle) {
        return uv_timer_init(loop.get(), &handle.timer);
      })) {}

void Timer::start(uint64_t after_ms, uint64_t every_ms) {
  const auto call = [](uv_timer_t* timer) { owner_of<Timer>(timer).run_(); };
  check("a timer", uv_timer_start(&handle_->timer, call, after_ms, every_ms));
}

void Timer::stop() { check("a timer", uv_timer_stop(&handle_->timer)); }

Signal::Signal(Loop& loop, int number, std::function<void()> run)
    : run_(std::move(run)), handle_(made("a signal", this, [&](uv_any_handle& handle) {
        return uv_signal_init(loop.get(), &handle.signal);
      })) {
  const auto call = [](uv_signal_t* signal, int) { owner_of<Signal>(signal).run_(); };
  check("a signal", uv_signal_start(&handle_->signal, call, number));
}

Watch::Watch(Loop& loop, int fd, std::function<void()> run)
    : run_(std::move(run)), handle_(made("a file", this, [&](uv_any_handle& handle) {
        return uv_poll_init(loop.get(), &handle.poll, fd);
      })) {
  const auto call = [](uv_poll_t* poll, int, int) { owner_of<Watch>(poll).run_(); };
  check("a file", uv_poll_start(&handle_->poll, UV_READABLE, call));
}

Stream::Stream(Loop& loop, int fd, Events events)
    : self_(std::make_shared<Stream*>(this)),
      events_(std::move(events)),
      handle_(opened(loop, fd, this)) {
  send_at_once(*handle_);
}

Stream::Stream(Loop& loop, uv_stream_t& listener, Events events)
    : self_(std::make_shared<Stream*>(this)),
      events_(std::move(events)),
      handle_(stream_handle(loop, listener.type == UV_TCP ? AF_INET : AF_UNIX, this)) {
  check("a connection", uv_accept(&listener, &handle_->stream));
  send_at_once(*handle_);
}

Stream::~Stream() { *self_ = nullptr; }

void Stream::write(std::string bytes) {
  auto write = std::make_unique<Write>();
  write->bytes = std::move(bytes);
  write->stream = self_;
  write->request.data = write.get();
  const uv_buf_t buffer =
      uv_buf_init(write->bytes.data(), static_cast<unsigned>(write->bytes.size()));
  const auto done = [](uv_write_t* request, int status) {
    const std::unique_ptr<Write> ended(static_cast<Write*>(request->data));
    Stream* stream = *ended->stream;
    if (stream == nullptr) return;
    if (status < 0) {
      stream->fail();
    } else if (stream->events_.written) {
      stream->events_.written();
    }
  };
  if (uv_write(&write->request, &handle_->stream, &buffer, 1, done) < 0) return fail();
  static_cast<void>(write.release());  // until it is done
}

void Stream::close_for_writing() {
  auto shutdown = std::make_unique<uv_shutdown_t>();
  const auto done = [](uv_shutdown_t* request, int) {
    const std::unique_ptr<uv_shutdown_t> ended(request);
  };
  if (uv_shutdown(shutdown.get(), &handle_->stream, done) < 0) return fail();
  static_cast<void>(shutdown.release());  // until it is done
}

size_t Stream::queued() const { return handle_->stream.write_queue_size; }

void Stream::read(bool wanted) {
  if (wanted == is_reading_) return;
  is_reading_ = wanted;
  // It cannot fail.
  if (!wanted) return static_cast<void>(uv_read_stop(&handle_->stream));
  const auto give = [](uv_handle_t*, size_t, uv_buf_t* buffer) {
    *buffer = uv_buf_init(read_buffer.data(), static_cast<unsigned>(read_buffer.size()));
  };
  const auto arrived = [](uv_stream_t* handle, ssize_t count, const uv_buf_t* buffer) {
    if (count == 0) return;  // nothing yet
    auto& stream = owner_of<Stream>(handle);
    if (count < 0) return stream.fail();
    stream.events_.arrived({buffer->base, static_cast<size_t>(count)});
  };
  if (uv_read_start(&handle_->stream, give, arrived) < 0) fail();
}

void Stream::fail() {
  read(false);
  if (events_.ended) std::exchange(events_.ended, nullptr)();
}

Acceptor::Acceptor(Loop& loop, int fd, Connected connected)
    : connected_(std::move(connected)), handle_(opened(loop, fd, this)) {
  constexpr int kBacklog = 1024;
  const auto call = [](uv_stream_t* handle, int status) {
    // Of a connection that has gone again.
    if (status == 0) owner_of<Acceptor>(handle).connected_(*handle);
  };
  check("a listening socket", uv_listen(&handle_->stream, kBacklog, call));
}

}  // namespace factory_daemon
