// The kernel's nodes: files of the phone's tree that are read and written in place. Nothing here
// waits for a pipe, makes a node that is not there, or meets a fault.
#pragma once

#include <android-base/unique_fd.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// Opens a node. None, and errno, when it cannot be opened or is no regular file.
/// @param flags as for open()
android::base::unique_fd open_node(const Phone& phone, std::string_view device_path, int flags);

/// What a node holds; nothing when it is not there. Throws Error when it cannot be read, or holds
/// more than any node does, 1 MiB.
std::optional<std::string> read_node(const Phone& phone, std::string_view device_path);

/// Gives a node that is there another content. Throws Error when it cannot be written.
void write_node(const Phone& phone, std::string_view device_path, std::string_view content);

/// Calls `observer`, under a lock, with the path of each device file that the library begins to
/// write in this process from now on, unless a fault lets that fail. It may read files, and write
/// none for the library. An empty one ends it.
void observe_writes(std::function<void(const std::string& device_path)> observer);
/// Tells the observer.
void tell_of_write(const std::string& device_path);

}  // namespace virtual_phone
