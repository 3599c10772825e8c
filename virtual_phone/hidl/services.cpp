#include "virtual_phone/hidl/services.h"

#include <map>
#include <mutex>
#include <utility>

#include "platform/immortal.h"
#include "virtual_phone/core/platform_call.h"
#include "virtual_phone/faults/accesses.h"

namespace virtual_phone {
namespace {

struct Registered {
  ServiceFactory factory;
  const char* fault_name = nullptr;
};

struct Registry {
  std::mutex mutex;
  std::map<std::pair<std::string, std::string>, Registered> services GUARDED_BY(mutex);
};

/// Made by the first who asks: services are registered while libraries are being loaded. Threads
/// may look for one until the process is gone.
Registry& registry() { return fcx::immortal<Registry>(); }

Registered find_registered(const std::string& descriptor, const std::string& instance) {
  Registry& known = registry();
  const std::lock_guard lock(known.mutex);
  const auto found = known.services.find({descriptor, instance});
  return found == known.services.end() ? Registered() : found->second;
}

}  // namespace

void register_service(const std::string& descriptor, const std::string& instance,
                      ServiceFactory factory, const char* fault_name) {
  Registry& known = registry();
  const std::lock_guard lock(known.mutex);
  known.services[{descriptor, instance}] = {std::move(factory), fault_name};
}

Service find_service(const std::string& descriptor, const std::string& instance,
                     WhenLate when_late) noexcept {
  Service service;
  platform_call("find_service", -1, [&](Phone& phone) {
    // Without the lock: others look for services while this one is late, or its factory does.
    const Registered found = find_registered(descriptor, instance);
    const char* name = found.fault_name == nullptr ? "" : found.fault_name;
    Accessing accessing(phone, {Part::service, name, Access::find});
    const bool is_up = found.fault_name == nullptr || !accessing.strike(when_late).has_value();
    if (is_up && found.factory) service = found.factory(phone);
    accessing.ends(service == nullptr ? -1 : 0);
    return 0;
  });
  return service;
}

}  // namespace virtual_phone
