#include "daemon/power_off.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <thread>

#include "daemon/background.h"
#include "fcx/modem_link.h"
#include "fcx/system_control.h"
#include "modem/link/requests.h"
#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/node.h"
#include "virtual_phone/core/power.h"
#include "virtual_phone/core/usb.h"
#include "virtual_phone/modem/modem.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;
using Kind = Moment::Kind;

/// The nodes that the sequence writes.
constexpr const char* kWritten[] = {"/proc/qve_power/lcd/brightness",
                                    "/proc/qve_power/key_led/red_brightness",
                                    "/sys/power/autosleep"};

constexpr int64_t kDroppedMicrovolts = 800'000;
/// For so long the USB state lags behind the voltage.
constexpr int64_t kLagUs = 3'000'000;

bool has_cable(const vp::Phone& phone) {
  const std::string state = vp::usb(phone).state.value_or("");
  return state == vp::name_of(vp::Cable::connected) || state == vp::name_of(vp::Cable::configured);
}

/// The cable stays in the hand's power: throws Error when what shows it cannot be changed.
void check_can_be_pulled(const vp::Phone& phone, const Hand& hand) {
  for (const char* node : {vp::kUsbStateNode, vp::kUsbInNode}) {
    const auto content = vp::read_node(phone, node);
    if (content.has_value()) vp::write_node(phone, node, *content);
  }
  if (hand.lets_voltage_drop_first && !vp::usb(phone).usb_in.has_value()) {
    throw vp::Error(std::string(vp::kUsbInNode) + " is not there: no voltage can drop");
  }
}

/// What happens beside the library: nodes that it has written are noticed, and the cable is pulled.
class Bench {
 public:
  Bench(vp::Phone& phone, std::vector<Moment>& moments, const Hand& hand)
      : phone_(phone),
        hand_(hand),
        pulls_at_us_(vp::now_us() + hand.pulls_after_us),
        is_plugged_(has_cable(phone)),
        known_(contents()),
        recorder_(moments, {[this](int64_t now_us) { look(now_us); },
                            [this](int64_t now_us) { act(now_us); }}) {
    vp::observe_writes([this](const std::string& device_path) { begin_write(device_path); });
  }
  ~Bench() { vp::observe_writes({}); }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  /// Notices what was written last, by whomever, and pulls a cable that is half out.
  void finish() {
    {
      const std::lock_guard lock(mutex_);
      if (begun_.has_value()) begun_->writer = std::this_thread::get_id();
    }
    look(vp::now_us());
    const std::lock_guard lock(mutex_);
    if (has_dropped_) pull();
  }

 private:
  /// A write of which the content was not seen yet.
  struct BegunWrite {
    size_t node;  ///< in kWritten
    int64_t time_us;
    std::thread::id writer;
  };
  using Contents = std::array<std::string, std::size(kWritten)>;

  Contents contents() const {
    Contents found;
    for (size_t i = 0; i < found.size(); ++i) {
      try {
        found[i] = vp::read_node(phone_, kWritten[i]).value_or("");
      } catch (const vp::Error&) {
        // Nobody can have written it.
      }
    }
    return found;
  }

  /// The library is about to write a file.
  void begin_write(const std::string& device_path) {
    const auto* node = std::find(std::begin(kWritten), std::end(kWritten), device_path);
    if (node == std::end(kWritten)) return;
    const auto index = static_cast<size_t>(node - kWritten);
    const int64_t now_us = vp::now_us();
    look(now_us, index);
    const std::lock_guard lock(mutex_);
    begun_ = {index, now_us, std::this_thread::get_id()};
  }

  /// Writes down what was written since the last look, but for a node that has been emptied
  /// to be written anew.
  void look(int64_t now_us, size_t emptied = std::size(kWritten)) {
    const std::lock_guard lock(mutex_);
    const Contents found = contents();
    for (size_t i = 0; i < found.size(); ++i) {
      if (i == emptied) continue;
      const bool is_begun = begun_.has_value() && begun_->node == i;
      // The same again, too; but only its writer knows that it has come to its end.
      if (is_begun ? begun_->writer != std::this_thread::get_id() : found[i] == known_[i]) continue;
      recorder_.add({is_begun ? begun_->time_us : now_us, Kind::node,
                     std::string(kWritten[i]) + "=" + found[i], found[i] != known_[i]});
      known_[i] = found[i];
      if (is_begun) begun_.reset();
    }
  }

  /// Must not throw: the library is the caller.
  void act(int64_t now_us) {
    const std::lock_guard lock(mutex_);
    if (!is_plugged_ || now_us < pulls_at_us_) return;
    try {
      if (!hand_.lets_voltage_drop_first) return pull();
      if (!has_dropped_) return drop();
      if (now_us >= pulls_at_us_ + kLagUs) pull();
    } catch (const vp::Error& error) {
      recorder_.note(std::string("The cable cannot be pulled: ") + error.what());
    }
  }

  void drop() REQUIRES(mutex_) {
    vp::set_usb_in(phone_, kDroppedMicrovolts);
    has_dropped_ = true;
    recorder_.note("The cable is pulled: its voltage drops, and the USB state lags behind.");
  }

  void pull() REQUIRES(mutex_) {
    if (!is_plugged_) return;
    vp::set_cable(phone_, vp::Cable::disconnected);
    is_plugged_ = false;
    recorder_.note(has_dropped_ ? "The USB state is DISCONNECTED, too." : "The cable is pulled.");
  }

  vp::Phone& phone_;
  const Hand hand_;
  const int64_t pulls_at_us_;
  std::mutex mutex_;
  bool is_plugged_ GUARDED_BY(mutex_);
  bool has_dropped_ GUARDED_BY(mutex_) = false;
  Contents known_ GUARDED_BY(mutex_);
  std::optional<BegunWrite> begun_ GUARDED_BY(mutex_);
  Recorder recorder_;
};

std::string request_text(const vp::ModemRequest& request) {
  const fcx::NamedRequest* row = fcx::find_request(request.number);
  return std::to_string(request.number) + (row == nullptr ? "" : std::string(" ") + row->name) +
         (request.code == 0 ? "" : ", answered by " + std::to_string(request.code));
}

PowerOff run(vp::Phone& phone, const Hand& hand, int (*sequence)()) {
  check_can_be_pulled(phone, hand);
  PowerOff off{};
  const auto requests = vp::modem_requests(phone);
  const int64_t last_event = vp::last_event(phone);
  off.began_us = vp::now_us();
  {
    Bench bench(phone, off.moments, hand);
    off.result = sequence();
    await_background_work();
    bench.finish();
  }
  for (const vp::ModemRequest& request :
       vp::modem_requests(phone, requests.empty() ? 0 : requests.back().id)) {
    off.moments.push_back({request.time_us, Kind::request, request_text(request)});
  }
  for (const vp::Event& event : vp::events(phone, last_event)) {
    off.moments.push_back({event.time_us, Kind::event, event.kind + ": " + event.detail});
  }
  std::stable_sort(off.moments.begin(), off.moments.end(),
                   [](const Moment& a, const Moment& b) { return a.time_us < b.time_us; });
  const vp::PowerState power = vp::power_state(phone);
  if (power.is_off && power.last_end->id > last_event) off.end = power.last_end;
  return off;
}

}  // namespace

PowerOff power_off_with_cable(vp::Phone& phone, const Hand& hand) {
  return run(phone, hand, ::power_off_with_cable);
}

PowerOff retry_power_off(vp::Phone& phone, const Hand& hand) {
  return run(phone, hand, retry_power_off_with_cable);
}

}  // namespace factory_daemon
