#include "tools/trace.h"

namespace cli {

namespace vp = virtual_phone;

Tracer::Tracer() {
  this_thread();
  vp::observe_accesses(this);
}

Tracer::~Tracer() { vp::observe_accesses(nullptr); }

Tracer::Thread& Tracer::this_thread() {
  const size_t next = threads_.size();
  return threads_.try_emplace(std::this_thread::get_id(), Thread{next, 0}).first->second;
}

std::optional<vp::Fault> Tracer::begins(const vp::PlatformAccess& access) {
  Thread& thread = this_thread();
  accesses_.push_back({access, thread.number, thread.depth++});
  return std::nullopt;
}

void Tracer::ended(size_t serial, const vp::PlatformAccess& access) {
  --this_thread().depth;
  accesses_[serial].access = access;
}

}  // namespace cli
