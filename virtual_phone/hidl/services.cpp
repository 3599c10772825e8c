#include "virtual_phone/hidl/services.h"

#include <map>
#include <mutex>
#include <utility>

#include "platform/immortal.h"
#include "virtual_phone/core/platform_call.h"

namespace virtual_phone {
namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::pair<std::string, std::string>, ServiceFactory> factories GUARDED_BY(mutex);
};

/// Made by the first who asks: services are registered while libraries are being loaded. Threads
/// may look for one until the process is gone.
Registry& registry() { return fcx::immortal<Registry>(); }

ServiceFactory find_factory(const std::string& descriptor, const std::string& instance) {
  Registry& services = registry();
  const std::lock_guard lock(services.mutex);
  const auto found = services.factories.find({descriptor, instance});
  return found == services.factories.end() ? nullptr : found->second;
}

}  // namespace

void register_service(const std::string& descriptor, const std::string& instance,
                      ServiceFactory factory) {
  Registry& services = registry();
  const std::lock_guard lock(services.mutex);
  services.factories[{descriptor, instance}] = std::move(factory);
}

Service find_service(const std::string& descriptor, const std::string& instance) noexcept {
  Service service;
  platform_call("find_service", -1, [&](Phone& phone) {
    // Called without the lock: a factory may look for services of its own.
    const ServiceFactory factory = find_factory(descriptor, instance);
    if (factory) service = factory(phone);
    return 0;
  });
  return service;
}

}  // namespace virtual_phone
