// The typed accessors of the factory items.
#include "fcx/factory_items.h"

#include <cstring>
#include <functional>

#include "fcx/bt_address.h"
#include "fcx/log_collection.h"
#include "fcx/wlan_address.h"
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

class FactoryItems : public PhoneTest {};

constexpr char kAgree[] = "/mnt/vendor/persist-qv/agree_factory";
constexpr char kStatusProperty[] = "persist.vendor.qve.factory.status";

/// Of a flag that has no reader of its own.
template <int index>
int by_index() {
  return get_int_ftm_by_index(index);
}

// The numbers stand here and below as the phone's store knows them.
constexpr std::tuple<int, int (*)(), int (*)(int)> kFlags[] = {
    {2, get_factory_status, set_factory_status},
    {3, get_qem, set_qem},
    {10, get_charger_skip, set_charger_skip},
    {23, by_index<23>, set_frst_running},
    {40, get_workfrstmodeon_status, set_workfrstmodeon_status},
    {54, by_index<54>, set_mtk_aiinit},
    {75, get_teal_ime, set_teal_ime},
    {80, get_hiddenMenu_extension, set_hiddenMenu_extension},
    {101, by_index<101>, set_lcd_break_mode},
    {106, get_testmode, set_testmode},
    {112, by_index<112>, set_dload_reboot},
    {216, get_fsg_wp_enable, set_fsg_wp_enable},
    {217, get_use_fsg, set_use_fsg},
    {218, get_use_fsg_count, set_use_fsg_count},
    {221, get_fsg_wp_status, set_fsg_wp_status},
    {223, get_ship_mode_status, set_ship_mode_status},
    {410, get_copy_preload_status, set_copy_preload_status}};

TEST_F(FactoryItems, FlagsAreOneRawByteOfTheirOwnItem) {
  for (const auto& [index, get, set] : kFlags) {
    SCOPED_TRACE(index);
    for (const auto& [value, byte] : {std::pair(1, 1), {255, 255}, {256, 0}, {-1, 255}, {0, 0}}) {
      EXPECT_EQ(0, set(value));
      EXPECT_EQ(byte, static_cast<uint8_t>(item(index, 1)[0]));
      EXPECT_EQ(byte, get());
    }
    item_fails(index);
    EXPECT_EQ(-1, set(1));
    EXPECT_EQ(-1, get());
    EXPECT_EQ(0, item(index, 1)[0]);
  }
}

constexpr std::tuple<int, size_t, int (*)(char*), int (*)(const char*)> kTexts[] = {
    {4, 30, get_pid, set_pid},
    {13, 20, get_imei_ftm_item, set_imei_ftm_item},
    {14, 70, get_sw_version_ftm_item, set_sw_version_ftm_item},
    {15, 70, get_sw_original_version_ftm_item, set_sw_original_version_ftm_item},
    {17, 256, get_aatset, nullptr},
    {31, 50, get_sw_fixed_area_version_ftm_item, set_sw_fixed_area_version_ftm_item},
    {32, 8, get_buyer_item, set_buyer_item},
    {36, 10, get_set_revision, set_set_revision},
    {73, 20, get_suffix_item, set_suffix_item},
    {90, 512, get_sdcard_download_path, set_sdcard_download_path},
    {207, 20, get_meid_ftm_item, set_meid_ftm_item},
    {211, 10, get_ldaf_cal_ftm_item, nullptr},
    {212, 256, get_saatresult, set_saatresult},
    {251, 128, get_midauto_result, set_midauto_result}};

TEST_F(FactoryItems, TextsFillTheirItemAndNoByteMore) {
  for (const auto& [index, length, get, set] : kTexts) {
    SCOPED_TRACE(index);
    const std::string longest(length, 'y');
    set_item(index, longest + "!");
    std::string buffer(length + 1, '#');
    EXPECT_EQ(0, get(buffer.data()));
    EXPECT_EQ(longest + "#", buffer) << "the item's length and no more";
    EXPECT_EQ(-1, get(nullptr));
    if (set != nullptr) {
      EXPECT_EQ(0, set("AB"));
      EXPECT_EQ("AB" + std::string(length - 2, '\0') + "!", item(index, length + 1));
      EXPECT_EQ(0, set((longest + "zz").c_str()));
      EXPECT_EQ(-1, set(nullptr));
    }
    item_fails(index);
    buffer.assign(length, '#');
    EXPECT_EQ(-1, get(buffer.data()));
    EXPECT_EQ(std::string(length, '#'), buffer) << "a failure leaves the buffer alone";
    EXPECT_EQ(-1, set != nullptr ? set("CD") : -1);
    EXPECT_EQ(longest + "!", item(index, length + 1));
  }
}

TEST_F(FactoryItems, RawBytesAreCopiedWhole) {
  const std::tuple<int, std::string, int (*)(char*), int (*)(const char*)> cases[] = {
      {300, {"\x01\x00\xFF\x02", 4}, get_gpio_sum, set_gpio_sum},
      {12, "\x05", get_dload_factory_reset_flag_ftm_item, set_dload_factory_reset_flag_ftm_item},
      {253, "0x000000010x00000002" + std::string(10, '\0') + "0x00000004", get_midauto_crc_list,
       set_midauto_crc_list}};
  for (const auto& [index, bytes, get, set] : cases) {
    set_item(index, std::string(bytes.size(), 'z') + "!");
    EXPECT_EQ(0, set(bytes.data())) << index;
    EXPECT_EQ(bytes + "!", item(index, bytes.size() + 1));
    std::string buffer(bytes.size(), '#');
    EXPECT_EQ(0, get(buffer.data())) << index;
    EXPECT_EQ(bytes, buffer);
    const std::string before(bytes.size(), '#');
    const bool is_failure = index == 253;
    fault(Part::item, std::to_string(index), Effect::returns, 1, Access::read);
    buffer = before;
    EXPECT_EQ(is_failure ? -1 : 0, get(buffer.data())) << index << ", a positive number";
    EXPECT_EQ(is_failure ? before : bytes, buffer) << index;
  }
}

TEST_F(FactoryItems, ClearThenWriteStopsWhenTheClearFails) {
  const std::string text(40, 'n');
  const std::pair<int, int (*)(const char*)> setters[] = {
      {212, set_saatresult}, {251, set_midauto_result}, {253, set_midauto_crc_list}};
  for (const auto& [number, set] : setters) {
    const std::string target = std::to_string(number);
    set_item(number, "old");
    fault(Part::item, target, Effect::fail, -7, Access::write, 1);
    EXPECT_EQ(-1, set(text.c_str())) << number << ", of which the second write would work";
    EXPECT_EQ("old", item_text(number));
    fault(Part::item, target, Effect::returns, 1, Access::write, 2);
    EXPECT_EQ(0, set(text.c_str())) << number;
    EXPECT_EQ(0U, vp::faults(phone()).size()) << number << " is written twice";
    EXPECT_EQ(text, item_text(number));
  }
}

TEST_F(FactoryItems, FactoryStatusKeepsPropertyItemAndTraceInStep) {
  for (const int status : {2, 3, 6}) EXPECT_EQ(0, set_factory_status(status));
  EXPECT_EQ("6", property(kStatusProperty));
  EXPECT_EQ(6, get_factory_status());
  EXPECT_EQ("236", item_text(item::frst_trace));
  EXPECT_THAT(lines(),
              ElementsAre("I Fcx: set_factory_status:[2] \n", "I Fcx: trace value : 2>",
                          "I Fcx: set_factory_status:[3] \n", "I Fcx: trace value : 2>3>",
                          "I Fcx: set_factory_status:[6] \n", "I Fcx: trace value : 2>3>6>"));

  EXPECT_EQ(0, set_factory_status(12));
  EXPECT_EQ("1", property(kStatusProperty)) << "one character";
  EXPECT_EQ(12, get_factory_status()) << "one byte";
  EXPECT_EQ("2361", item_text(item::frst_trace));
}

TEST_F(FactoryItems, FactoryStatusThreeRemovesTheAgreeFileWhateverFails) {
  fs::create_directory(file(kAgree));  // which is no file to be removed
  fault(Part::property, kStatusProperty, Effect::fail, 0, Access::write);
  fault(Part::item, "79", Effect::fail, -1, Access::write);
  EXPECT_EQ(0, set_factory_status(3)) << "the item alone decides";
  EXPECT_THAT(
      lines(),
      ElementsAre("E Fcx: set_factory_status: persist.vendor.qve.factory.status cannot be set\n",
                  "I Fcx: set_factory_status:[3] \n",
                  "E Fcx: set_factory_status: /mnt/vendor/persist-qv/agree_factory: Is a "
                  "directory\n",
                  "I Fcx: Set ftm Error! Item : QVFTM_FRST_TRACE"));
  clear_faults();
  fs::remove(file(kAgree));
  write_file(file(kAgree), "agreed");
  for (const int status : {2, 4}) EXPECT_EQ(0, set_factory_status(status));
  EXPECT_TRUE(fs::exists(file(kAgree)));
  lines();
  item_fails(item::factory_status);
  EXPECT_EQ(-1, set_factory_status(3));
  EXPECT_FALSE(fs::exists(file(kAgree)));
  EXPECT_EQ("3", property(kStatusProperty)) << "set already, on purpose";
  EXPECT_EQ("24", item_text(item::frst_trace)) << "the trace is not";
  EXPECT_THAT(lines(),
              ElementsAre("I Fcx: set_factory_status:[3] \n", "I Fcx: Set ftm Error! Item : 2"));
}

TEST_F(FactoryItems, ATraceOf2047CharactersStartsAnew) {
  // What is there, what is added, and the trace then; a trace of 2048 has no terminator at all, and
  // nothing from after the text is kept.
  const std::string full(2046, '1');
  const std::tuple<std::string, int, std::string> cases[] = {{full, 2, full + "2"},
                                                             {full + "2", 3, "3"},
                                                             {full + "22", 4, "4"},
                                                             {{"23\0stale", 8}, 6, "236"}};
  for (const auto& [before, status, after] : cases) {
    SCOPED_TRACE(status);
    set_item(item::frst_trace, before);
    lines();
    EXPECT_EQ(0, set_frst_trace(status));
    EXPECT_EQ(after + std::string(2048 - after.size(), '\0'), item(item::frst_trace, 2048));
    EXPECT_EQ(after.size() == 1,
              lines().front() == "I Fcx: Full QVFTM_FRST_TRACE, initialize this item");
  }
}

TEST_F(FactoryItems, TheTraceSaysWhatFailed) {
  set_item(item::frst_trace, "12");
  char buffer[2048] = {};
  EXPECT_EQ(0, get_frst_trace(buffer));
  EXPECT_STREQ("12", buffer);
  fault(Part::item, "79", Effect::fail, -1, Access::read);
  EXPECT_EQ(-1, get_frst_trace(buffer));
  EXPECT_EQ(0, set_frst_trace(3)) << "what cannot be read counts as empty";
  EXPECT_EQ("3", item_text(item::frst_trace));
  fault(Part::item, "79", Effect::fail, -1, Access::write);
  EXPECT_EQ(-1, set_frst_trace(4));
  const char* unread = "E Fcx: set_frst_trace: item 79 cannot be read\n";
  EXPECT_THAT(lines(), ElementsAre("I Fcx: trace value : 12", "I Fcx: get ftm Error!", unread,
                                   "I Fcx: trace value : 3>", unread,
                                   "I Fcx: Set ftm Error! Item : QVFTM_FRST_TRACE"));
}

TEST_F(FactoryItems, SomeLogBeforeTheyWriteOrAfterTheyRead) {
  char buffer[20] = {};
  set_item(item::suffix, "AEUROP");
  for (const char* number : {"73", "101", "40"}) {
    fault(Part::item, number, Effect::fail, -1, Access::write);
  }
  EXPECT_EQ(-1, set_suffix_item("AUSA"));
  EXPECT_EQ(0, get_suffix_item(buffer));
  EXPECT_EQ(-1, set_lcd_break_mode(1));
  EXPECT_EQ(-1, set_workfrstmodeon_status(2));
  EXPECT_THAT(lines(), ElementsAre("I Fcx: Set SUFFIX : AUSA", "I Fcx: Get SUFFIX : AEUROP",
                                   "I Fcx: set_lcd_break_status:[1] \n",
                                   "I Fcx: set_workfrstmodeon_status:[2] \n"));
}

TEST_F(FactoryItems, ByIndexReadsAnyItem) {
  set_item(4000, "0123456789");
  std::string buffer(2049, '#');
  EXPECT_EQ(0, get_string_ftm_by_index(4000, buffer.data()));
  EXPECT_STREQ("0123456789", buffer.c_str());
  EXPECT_EQ('#', buffer[2048]);
  EXPECT_EQ('0', get_int_ftm_by_index(4000));
  EXPECT_EQ(-1, get_string_ftm_by_index(-1, buffer.data()));
  EXPECT_EQ(-1, get_int_ftm_by_index(-1));
  EXPECT_EQ(-1, get_string_ftm_by_index(4000, nullptr));
}

TEST(FactoryItemStore, AMissingStoreIsSaidOnce) {
  setenv("FCX_PHONE", "/nonexistent/phone", 1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(-1, init_factory_item());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::AllOf(HasSubstr("no phone in /nonexistent/phone"),
                             testing::ContainsRegex("Fcx E .*Failed to init ftm item")));
  EXPECT_EQ(-1, get_qem());
  EXPECT_EQ(-1, set_qem(1));
  EXPECT_EQ(-1, set_factory_status(3)) << "no file of this machine is touched";
}

/// Each way to the store, in a process that has not opened it: the first failure says so, before
/// what the function says of its own, and no later one.
TEST(FactoryItemStore, OneThatWasNeverOpenedIsSaidOnce) {
  setenv("FCX_PHONE", "/nonexistent/phone", 1);
  const std::string unopened = "Fcx E .*init_factory_item: not called, or failed; until it has";
  uint8_t address[6];
  char text[256];
  int length = 0;
  const std::pair<std::function<int()>, std::string> ways[] = {
      {[] { return get_qem(); }, unopened},
      {[] { return set_qem(1); }, unopened},
      {[&] { return get_pid(text); }, unopened},
      {[] { return set_pid("1"); }, unopened},
      {[] { return set_gpio_sum("1234"); }, unopened},
      {[&] { return bt_addr_read(address); }, unopened},
      {[&] { return wlan_mac_write(address); }, unopened},
      {[&] { return crash_log_save(text, &length, 1); }, unopened},
      {[&] { return get_frst_trace(text); }, unopened + "(.|\n)*get ftm Error"},
      {[] { return init_factory_item() + get_qem(); },
       "Failed to init ftm item(.|\n)*" + unopened}};
  for (const auto& [way, first] : ways) {
    const auto twice = [&way = way] {
      const int code = way();
      exit(code != 0 && way() == code ? 0 : 1);
    };
    EXPECT_EXIT(twice(), testing::ExitedWithCode(0),
                testing::AllOf(testing::ContainsRegex(first),
                               testing::Not(testing::ContainsRegex("not called(.|\n)*not called"))))
        << first;
  }
}

}  // namespace
}  // namespace fcx_test
