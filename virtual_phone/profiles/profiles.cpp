#include "virtual_phone/profiles/profiles.h"

#include <algorithm>

#include "fcx/factory_item_table.h"
#include "virtual_phone/profiles/packages.h"
#include "virtual_phone/profiles/samples.h"

namespace virtual_phone {
namespace {

using std::string_view_literals::operator""sv;
namespace item = fcx::item;

/// The boot loader's properties, "ro.boot.NAME", are in it as "androidboot.NAME".
constexpr char kCommandLine[] =
    "console=null loglevel=4 androidboot.hardware=qv100"
    " androidboot.vendor.qve.hw.revision=rev_10 androidboot.vendor.qve.model.factory=QV-100"
    " androidboot.vendor.qve.model.name=QV-100\n";

constexpr char kMemoryInfo[] =
    "MemTotal:        3809036 kB\n"
    "MemFree:          412876 kB\n"
    "MemAvailable:    1893320 kB\n";

/// Without an SD card.
constexpr char kMounts[] =
    "/dev/root / ext4 ro,relatime 0 0\n"
    "/dev/block/dm-1 /vendor ext4 ro,relatime 0 0\n"
    "/dev/block/dm-4 /data f2fs rw,nosuid,nodev,noatime 0 0\n"
    "/data/media /storage/emulated sdcardfs rw,nosuid,nodev,noexec,noatime 0 0\n"
    "tmpfs /storage/self tmpfs rw,nosuid,nodev,noexec,relatime 0 0\n";

const std::vector<ProfileProperty> kBuild = {
    {"ro.boot.vendor.qve.hw.revision", "rev_10"},
    {"ro.boot.vendor.qve.model.factory", "QV-100"},
    {"ro.boot.vendor.qve.model.name", "QV-100"},
    {"ro.bootmode", "unknown"},
    {"ro.build.date", "Mon Jun  1 09:00:00 KST 2020"},
    {"ro.build.type", "userdebug"},
    {"ro.build.version.release", "10"},
    {"ro.product.manufacturer", "QVE"},
    {"ro.product.model", "QV-100"},
    {"ro.vendor.qve.build.target_operator", "OPEN"},
    {"ro.vendor.qve.factoryversion", "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0"},
    {"ro.vendor.qve.mid.bootstart", "0"},
    {"ro.vendor.qve.swversion_rev", "0"},
    {"vendor.qve.boot_completed", "1"},
    {"vendor.qve.factory.pif", "0"},
    {"vendor.qve.factory.qem", "0"},
    {"vendor.qve.ril.modembsp.bootup", "1"},
    {"vendor.qve.usb.config", "factory,adb"},
    {"vendor.qve.usb.state", "factory,adb"},
};

/// What the kernel shows of itself, on any phone.
const std::vector<ProfileFile> kKernelFiles = {
    {"/proc/cmdline", kCommandLine},
    {"/proc/kmsg", sample_kernel_log()},
    {"/proc/meminfo", kMemoryInfo},
    {"/proc/mounts", kMounts},
    {"/proc/qve_power/adc/usb_in", "5000000\n"},
    {"/proc/qve_power/battery/present", "1\n"},
    {"/proc/qve_power/key_led/red_brightness", "0\n"},
    {"/proc/qve_power/lcd/brightness", "183\n"},
    // Empty until somebody looks at the display.
    {"/dev/graphics/fb0", ""},
    {"/sys/class/android_usb/android0/lock", "0"},
    {"/sys/class/android_usb/android0/state", "CONFIGURED\n"},
    // Rows of 1088 pixels, of which 1080 are seen.
    {"/sys/class/graphics/fb0/bits_per_pixel", "32\n"},
    {"/sys/class/graphics/fb0/stride", "4352\n"},
    {"/sys/class/graphics/fb0/virtual_size", "1080,2400\n"},
    // Of the four CPUs the third is offline: it has no frequency.
    {"/sys/devices/system/cpu/online", "0-1,3\n"},
    {"/sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "1200000\n"},
    {"/sys/devices/system/cpu/cpu0/cpufreq/scaling_max_freq", "1800000\n"},
    {"/sys/devices/system/cpu/cpu0/cpufreq/scaling_min_freq", "600000\n"},
    {"/sys/devices/system/cpu/cpu1/cpufreq/scaling_cur_freq", "1200000\n"},
    {"/sys/devices/system/cpu/cpu1/cpufreq/scaling_max_freq", "1800000\n"},
    {"/sys/devices/system/cpu/cpu1/cpufreq/scaling_min_freq", "600000\n"},
    {"/sys/devices/system/cpu/cpu3/cpufreq/scaling_cur_freq", "2000000\n"},
    {"/sys/devices/system/cpu/cpu3/cpufreq/scaling_max_freq", "2400000\n"},
    {"/sys/devices/system/cpu/cpu3/cpufreq/scaling_min_freq", "800000\n"},
    {"/sys/kernel/fcx_mid/fcx_status", "0\n"},
    {"/sys/power/autosleep", "on\n"},
};

template <typename Row>
void append(std::vector<Row>& rows, const std::vector<Row>& more) {
  rows.insert(rows.end(), more.begin(), more.end());
}

/// Sets build properties in place of those of the same name.
void set_properties(Profile& profile, const std::vector<ProfileProperty>& wanted) {
  for (const ProfileProperty& row : wanted) {
    auto& all = profile.properties;
    const auto same = [&](const auto& old) { return std::string_view(old.name) == row.name; };
    all.erase(std::remove_if(all.begin(), all.end(), same), all.end());
    all.push_back(row);
  }
}

Profile blank() {
  Profile profile = {"blank", "nothing written yet: every item is empty", kBuild, {}, {}, {}, {},
                     {}};
  profile.nodes = kKernelFiles;
  return profile;
}

// What the factory has written, apart from the carriers.

const std::vector<ProfileItem> kFactoryItems = {
    {item::factory_status, "\x02"sv},
    {item::pid, "QV100AAAAAA0012345"sv},
    {item::wlan_address, "\x02\xFC\x0A\x12\x34\x57"sv},
    {item::bt_address, "\x02\xFC\x0A\x12\x34\x56"sv},
    {item::serial_number, "QV2006A00123"sv},
    {item::imei, "490154203237518"sv},
    {item::msn, "006QVAB000123"sv},
    {item::manuf_date, "20200601"sv},
    {item::buyer, "OPEN_EU"sv},
    {item::set_revision, "A01"sv},
    {item::csn, "006QVCS000456"sv},
    {item::crc_wizard, "0"sv},
    {item::suffix, "AEUROP"sv},
    {item::frst_trace, "2"sv},
    {item::hidden_menu, "\x01"sv},
    {item::meid, "A0000012345678"sv},
    {item::ldaf_cal, "1"sv},
    {item::saat_result, "PASS"sv},
    {item::image_status, "1"sv},
    {item::image_secno, "0001"sv},
    {item::image_name, "QV100-OPEN"sv},
    {item::midauto_result, "1111111111"sv},
    {item::gpio_sum, "1A2B"sv},
    {item::sku, "QV100EAW.AEUROPBK"sv},
};

// What the image says of itself, and the items that hold it.

constexpr std::string_view kEuropeanVersion = "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0";
constexpr std::string_view kAmericanVersion = "QV100AT-00-V10b-OPEN-NA-JUN-01-2020+0";
constexpr std::string_view kFixedArea = "A2006010900-M2006010900-C2006010900-O2006010900-0";

const std::vector<ProfileFile> kIdentifierFiles = {
    {"/cust/cust.ubid", "C2006010900\n"},
    {"/vendor/etc/ap.ubid", "A2006010900\n"},
};
const std::string kOperatorIdentifier = "O2006010900-0\n";

const std::vector<ProfileFile> kFactoryFiles = {
    {"/mnt/vendor/persist-qv/startday/isValid", "0"},
    {"/mnt/vendor/persist-qv/startday/date", "0000/00/00 00:00:00"},
    {"/mnt/vendor/persist-qv/aat/result", "LCD=PASS\nKEY=PASS\nCAMERA=PASS\n"},
    {"/mnt/vendor/persist-qv/camera/front_tof_cal", "offset=12;gain=1.02"},
};

const std::vector<ProfileModemValue> kModemValues = {
    {"fusg", "1"sv},
    {"imei1", "490154203237518"sv},
    {"imei2", "490154203237526"sv},
    {"impl", "1"sv},
    {"meid", "A0000012345678"sv},
    {"mmw_device", "1"sv},
    {"model_name", "QV-100"sv},
    {"pesn", "80A1B2C3"sv},
    {"pid", "QV100AAAAAA0012345"sv},
    {"rf_4g_error_handle_5g", "0"sv},
    {"rf_calibrated", "1"sv},
    {"satpc", "FFFF7F1F"sv},
    {"suffix", "AEUROP"sv},
    {"test_script_mode", "1"sv},
    {"type_code", "0"sv},
};

const std::vector<ProfileFile> kModemFiles = {
    {"/nv/item_files/modem/mmode/sms_only", "0"},
    {"/qv/factory/rf_cal_date", "20200601"},
};

/// The items that a phone has which was started with this software.
void set_versions(Profile& profile, std::string_view version, std::string_view original) {
  profile.items.push_back({item::sw_version, version});
  profile.items.push_back({item::sw_original_version, original});
  profile.items.push_back({item::sw_fixed_area_version, kFixedArea});
}

/// A phone that has left the factory.
Profile written(const char* name, const char* meaning, std::string_view network_code,
                std::string_view sim_iccid, std::string_view sim_imsi) {
  Profile profile = {name,
                     meaning,
                     kBuild,
                     kFactoryItems,
                     kFactoryFiles,
                     kModemValues,
                     {{453, "\0\0\0\0"sv}},
                     kModemFiles,
                     {},
                     sim_iccid,
                     sim_imsi};
  profile.items.push_back({item::network_code, network_code});
  append(profile.files, kFactoryFiles);
  append(profile.files, kIdentifierFiles);
  append(profile.files, sample_logs());
  append(profile.items, sample_crashes());
  profile.nodes = kKernelFiles;
  profile.records = sample_last_logs();
  return profile;
}

Profile single() {
  Profile profile =
      written("single", "one carrier, all factory data written",
              R"("1","310,410,FFFFFFFF,FFFFFFFF,FF")", "8901410000000000001", "310410000000001");
  set_versions(profile, "QV100AT-00-V10a-310-410-JUN-01-2020+0", kEuropeanVersion);
  profile.files.push_back({"/data/.OP/userdata.ubid", kOperatorIdentifier});
  profile.files.push_back({"/data/.userdataid", kOperatorIdentifier});
  return profile;
}

/// A phone for several carriers of Europe, but for where its package lies.
Profile european(const char* name, const char* meaning) {
  Profile profile = written(name, meaning,
                            R"("3","262,01F,FFFFFFFF,FFFFFFFF,11",)"
                            R"("234,15F,FFFFFFFF,FFFFFFFF,12","222,10F,FFFFFFFF,FFFFFFFF,13")",
                            "89449800000000012349", "234150000001234");
  set_properties(profile, {
                              {"ro.crypto.state", "encrypted"},
                              {"ro.crypto.type", "file"},
                              {"ro.product.name", "qv100_global_com"},
                              {"ro.vendor.qve.build.target_country", "EU"},
                              {"ro.vendor.qve.build.target_region", "EU"},
                              {"ro.vendor.qve.kelp", "1"},
                          });
  set_versions(profile, "QV100AT-00-V10a-262-01-CR1-JUN-01-2020+0", kEuropeanVersion);
  return profile;
}

Profile open() {
  Profile profile = european("open", "several carriers and countries, chosen by the SIM");
  set_properties(profile, {{"ro.vendor.qve.capp_tamra.rootdir", root_in_place(open_europe())}});
  append(profile.files, files_in_place(open_europe()));
  profile.files.push_back({"/oem/OP/_COMMON/op.ubid", kOperatorIdentifier});
  return profile;
}

Profile overlay() {
  Profile profile =
      european("overlay", "as open, its package read through the file-handle service");
  set_properties(profile, {{"ro.vendor.qve.capp_tamra.rootdir", root_on_overlay(open_europe())},
                           {"ro.vendor.qve.product.overlayfs", "true"}});
  profile.overlay_files = files_on_overlay(open_europe());
  profile.overlay_files.push_back({"/product/etc/op.ubid", kOperatorIdentifier});
  return profile;
}

Profile mtk() {
  Profile profile = written("mtk", "two countries, a MediaTek chipset, a user build",
                            R"("2","310,410,FFFFFFFF,FFFFFFFF,31","302,720,FFFFFFFF,FFFFFFFF,32")",
                            "8901970000000042421", "310410000004242");
  set_properties(profile, {
                              {"ro.build.type", "user"},
                              {"ro.mediatek.platform", "MT6755"},
                              {"ro.product.name", "qv100_nao_us"},
                              {"ro.vendor.qve.build.target_country", "US"},
                              {"ro.vendor.qve.build.target_region", "NA"},
                              {"ro.vendor.qve.capp_tamra.rootdir", root_in_place(north_america())},
                              {"ro.vendor.qve.chip.vendor", "mtk"},
                              {"ro.vendor.qve.factoryversion", std::string(kAmericanVersion)},
                              {"ro.vendor.qve.naop", "1"},
                              {"ro.vendor.qve.simbase", "1"},
                          });
  append(profile.files, files_in_place(north_america()));
  set_versions(profile, "QV100AT-00-V10b-310-410-NA1-JUN-01-2020+0", kAmericanVersion);
  profile.files.push_back({"/oem/OP/_COMMON/op.ubid", kOperatorIdentifier});
  return profile;
}

}  // namespace

const std::vector<Profile>& profiles() {
  static const std::vector<Profile> all = {single(), open(), mtk(), overlay(), blank()};
  return all;
}

const Profile* find_profile(std::string_view name) {
  for (const Profile& profile : profiles()) {
    if (profile.name == name) return &profile;
  }
  return nullptr;
}

const std::vector<ProfileFile>& device_programs() {
  // Of the environment that virtual_phone/core/programs.h describes. An emulator is several words.
  const auto launcher = [](const char* device_path) {
    const std::string path = device_path;
    const std::string name = path.substr(path.rfind('/') + 1);
    return ProfileFile{path,
                       "#!/bin/sh\nexec $FCX_EMULATOR \"$FCX_PROGRAMS/" + name + "\" \"$@\"\n"};
  };
  static const std::vector<ProfileFile> all = {
      launcher("/system/bin/screencap"),
      {"/vendor/bin/dmesg", "#!/bin/sh\nexec cat \"$FCX_ROOT/proc/kmsg\"\n"},
      launcher("/vendor/bin/getprop"),
  };
  return all;
}

const std::vector<const char*>& device_directories() {
  static const std::vector<const char*> all = {
      "/data/logger",
      "/data/vendor/factory",
      "/dev/block/by-name",
      "/mnt/vendor/persist-qv/aat",
      "/mnt/vendor/persist-qv/camera",
      "/mnt/vendor/persist-qv/kelp",
      "/mnt/vendor/persist-qv/property",
      "/mnt/vendor/persist-qv/startday",
      "/oem",
      "/proc",
      "/product",
      "/storage",
      "/system/etc",
  };
  return all;
}

}  // namespace virtual_phone
