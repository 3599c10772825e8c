#include "virtual_phone/core/display.h"

#include <linux/fb.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "platform/device_home.h"
#include "virtual_phone/core/node.h"
#include "virtual_phone/core/platform_call.h"

namespace virtual_phone {
namespace {

constexpr char kSize[] = "/sys/class/graphics/fb0/virtual_size";
constexpr char kDepth[] = "/sys/class/graphics/fb0/bits_per_pixel";
constexpr char kStride[] = "/sys/class/graphics/fb0/stride";

}  // namespace

Display display(const Phone& phone) {
  Display found;
  const auto read = [&](const char* node, const char* format, auto... values) {
    const auto text = read_node(phone, node);
    if (!text.has_value() || sscanf(text->c_str(), format, values...) != sizeof...(values)) {
      throw Error(std::string(node) + " does not tell what the display is like");
    }
  };
  read(kSize, "%d,%d", &found.width, &found.height);
  read(kDepth, "%d", &found.bits_per_pixel);
  read(kStride, "%d", &found.stride);
  return found;
}

}  // namespace virtual_phone

namespace vp = virtual_phone;

int fcx::platform_ioctl(int fd, unsigned long request, void* argument) {
  errno = EIO;
  return vp::platform_call("platform_ioctl", -1, [&](vp::Phone& phone) {
    const vp::Display display = vp::display(phone);
    struct stat memory {};
    if (fstat(fd, &memory) != 0) return -1;
    if (request == FBIOGET_FSCREENINFO) {
      auto& fixed = *static_cast<fb_fix_screeninfo*>(argument);
      fixed = {};
      fixed.smem_len = static_cast<uint32_t>(memory.st_size);
      fixed.line_length = static_cast<uint32_t>(display.stride);
      return 0;
    }
    if (request == FBIOGET_VSCREENINFO) {
      auto& variable = *static_cast<fb_var_screeninfo*>(argument);
      variable = {};
      variable.xres = variable.xres_virtual = static_cast<uint32_t>(display.width);
      variable.yres = variable.yres_virtual = static_cast<uint32_t>(display.height);
      variable.bits_per_pixel = static_cast<uint32_t>(display.bits_per_pixel);
      return 0;
    }
    errno = ENOTTY;
    return -1;
  });
}
