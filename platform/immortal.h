// Objects that threads may still use while the process ends.
#pragma once

#include <new>

namespace fcx {

/// The one `T` of this process. It is never destroyed: threads may outlive the statics.
template <typename T>
T& immortal() {
  alignas(T) static char storage[sizeof(T)];
  static T* const instance = new (storage) T;
  return *instance;
}

}  // namespace fcx
