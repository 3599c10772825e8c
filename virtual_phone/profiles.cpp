#include "virtual_phone/profiles.h"

namespace virtual_phone {
namespace {

using std::string_view_literals::operator""sv;

constexpr char kMemoryInfo[] =
    "MemTotal:        3809036 kB\n"
    "MemFree:          412876 kB\n"
    "MemAvailable:    1893320 kB\n";

const std::vector<ProfileProperty> kBuild = {
    {"ro.bootmode", "unknown"},
    {"ro.build.date", "Mon Jun  1 09:00:00 KST 2020"},
    {"ro.build.type", "userdebug"},
    {"ro.build.version.release", "10"},
    {"ro.product.model", "QV-100"},
    {"vendor.qve.ril.modembsp.bootup", "1"},
    {"vendor.qve.usb.config", "factory,adb"},
    {"vendor.qve.usb.state", "factory,adb"},
};

/// What the kernel shows of itself, on any phone.
const std::vector<ProfileFile> kKernelFiles = {
    {"/proc/meminfo", kMemoryInfo},
    {"/sys/class/android_usb/android0/lock", "0"},
    {"/sys/class/android_usb/android0/state", "CONFIGURED\n"},
};

std::vector<ProfileFile> with_kernel_files(std::vector<ProfileFile> files) {
  files.insert(files.end(), kKernelFiles.begin(), kKernelFiles.end());
  return files;
}

Profile blank() {
  return {"blank", "nothing written yet: every item is empty", kBuild, {}, kKernelFiles, {}, {},
          {}};
}

Profile single() {
  return {"single",
          "one carrier, all factory data written",
          kBuild,
          {
              {2, "\x02"sv},
              {4, "QV100AAAAAA0012345"sv},
              {9, "QV2006A00123"sv},
              {13, "490154203237518"sv},
              {14, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0"sv},
              {15, "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0"sv},
              {18, "006QVAB000123"sv},
              {19, "20200601"sv},
              {31, "QV100AT-00-V10a-FIXED"sv},
              {32, "OPEN_EU"sv},
              {36, "A01"sv},
              {37, "006QVCS000456"sv},
              {49, "0"sv},
              {73, "AEUROP"sv},
              {79, "2"sv},
              {80, "\x01"sv},
              {207, "A0000012345678"sv},
              {211, "1"sv},
              {212, "PASS"sv},
              {213, "1"sv},
              {214, "0001"sv},
              {215, "QV100-OPEN"sv},
              {251, "1111111111"sv},
              {300, "1A2B"sv},
              {420, "QV100EAW.AEUROPBK"sv},
              {421, R"("1","310,410,FFFFFFFF,FFFFFFFF,FF")"sv},
          },
          with_kernel_files({
              {"/mnt/vendor/persist-qv/startday/isValid", "0"},
              {"/mnt/vendor/persist-qv/startday/date", "0000/00/00 00:00:00"},
              {"/mnt/vendor/persist-qv/camera/front_tof_cal", "offset=12;gain=1.02"},
          }),
          {
              {"fusg", "1"sv},
              {"imei1", "490154203237518"sv},
              {"imei2", "490154203237526"sv},
              {"impl", "1"sv},
              {"meid", "A0000012345678"sv},
              {"model_name", "QV-100"sv},
              {"pesn", "80A1B2C3"sv},
              {"pid", "QV100AAAAAA0012345"sv},
              {"suffix", "AEUROP"sv},
          },
          {
              {453, "\0\0\0\0"sv},
          },
          {
              {"/nv/item_files/modem/mmode/sms_only", "0"},
              {"/qv/factory/rf_cal_date", "20200601"},
          },
          {},
          "8901410000000000001"};
}

}  // namespace

const std::vector<Profile>& profiles() {
  static const std::vector<Profile> all = {single(), blank()};
  return all;
}

const std::vector<const char*>& device_directories() {
  static const std::vector<const char*> all = {
      "/data/vendor/factory",
      "/dev/block/by-name",
      "/mnt/vendor/persist-qv/camera",
      "/mnt/vendor/persist-qv/kelp",
      "/mnt/vendor/persist-qv/property",
      "/mnt/vendor/persist-qv/startday",
      "/oem",
      "/proc",
      "/product",
      "/system/etc",
  };
  return all;
}

}  // namespace virtual_phone
