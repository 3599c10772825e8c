#include "daemon/recorder.h"

#include "virtual_phone/core/clock.h"
#include "virtual_phone/core/log_buffer.h"
#include "virtual_phone/core/properties.h"

namespace factory_daemon {
namespace {

namespace vp = virtual_phone;
using Kind = Moment::Kind;

std::string without_line_break(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

}  // namespace

Recorder::Recorder(std::vector<Moment>& moments, Around around)
    : moments_(moments), around_(std::move(around)) {
  vp::observe_log([this](const vp::LogEntry& entry) {
    observe({entry.time_us, Kind::line, without_line_break(entry.message)});
  });
  vp::observe_properties([this](const vp::PropertyChange& change) {
    observe({vp::now_us(), Kind::property, change.name + "=" + change.after,
             change.before != change.after});
  });
}

Recorder::~Recorder() {
  vp::observe_log({});
  vp::observe_properties({});
}

void Recorder::add(Moment moment) {
  const std::lock_guard lock(mutex_);
  moments_.push_back(std::move(moment));
}

void Recorder::note(const std::string& sentence) { add({vp::now_us(), Kind::note, sentence}); }

void Recorder::observe(Moment moment) {
  const int64_t time_us = moment.time_us;
  if (around_.before) around_.before(time_us);
  add(std::move(moment));
  if (around_.after) around_.after(time_us);
}

}  // namespace factory_daemon
