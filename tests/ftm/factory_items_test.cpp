// The typed accessors of the factory items.
#include "fcx/factory_items.h"

#include <cstring>

#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

namespace item = fcx::item;

using std::string_view_literals::operator""sv;
using testing::ElementsAre;
using testing::HasSubstr;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

class FactoryItems : public PhoneTest {};

constexpr char kAgree[] = "/mnt/vendor/persist-qv/agree_factory";
constexpr char kStatusProperty[] = "persist.vendor.qve.factory.status";

struct FlagAccessors {
  int index;
  int (*get)();
  int (*set)(int);
};

// The numbers stand here and below as the phone's store knows them.
constexpr FlagAccessors kFlags[] = {
    {2, get_factory_status, set_factory_status},
    {3, get_qem, set_qem},
    {10, get_charger_skip, set_charger_skip},
    {23, nullptr, set_frst_running},
    {40, get_workfrstmodeon_status, set_workfrstmodeon_status},
    {54, nullptr, set_mtk_aiinit},
    {75, get_teal_ime, set_teal_ime},
    {80, get_hiddenMenu_extension, set_hiddenMenu_extension},
    {101, nullptr, set_lcd_break_mode},
    {106, get_testmode, set_testmode},
    {112, nullptr, set_dload_reboot},
    {216, get_fsg_wp_enable, set_fsg_wp_enable},
    {217, get_use_fsg, set_use_fsg},
    {218, get_use_fsg_count, set_use_fsg_count},
    {221, get_fsg_wp_status, set_fsg_wp_status},
    {223, get_ship_mode_status, set_ship_mode_status},
    {410, get_copy_preload_status, set_copy_preload_status},
};

TEST_F(FactoryItems, FlagsAreOneRawByteOfTheirOwnItem) {
  for (const FlagAccessors& flag : kFlags) {
    SCOPED_TRACE(flag.index);
    for (const auto& [value, byte] : {std::pair(1, 1), {255, 255}, {256, 0}, {-1, 255}, {0, 0}}) {
      EXPECT_EQ(0, flag.set(value));
      EXPECT_EQ(byte, static_cast<uint8_t>(item(flag.index, 1)[0]));
      if (flag.get != nullptr) {
        EXPECT_EQ(byte, flag.get());
      }
      EXPECT_EQ(byte, get_int_ftm_by_index(flag.index));
    }
    item_fails(flag.index);
    EXPECT_EQ(-1, flag.set(1));
    if (flag.get != nullptr) {
      EXPECT_EQ(-1, flag.get());
    }
    EXPECT_EQ(0, item(flag.index, 1)[0]);
  }
}

struct TextAccessors {
  int index;
  size_t length;
  int (*get)(char*);
  int (*set)(const char*);
};

constexpr TextAccessors kTexts[] = {
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
    {251, 128, get_midauto_result, set_midauto_result},
};

TEST_F(FactoryItems, TextsFillTheirItemAndNoByteMore) {
  for (const TextAccessors& text : kTexts) {
    SCOPED_TRACE(text.index);
    const std::string longest(text.length, 'y');
    set_item(text.index, longest + "!");
    std::string buffer(text.length + 1, '#');
    EXPECT_EQ(0, text.get(buffer.data()));
    EXPECT_EQ(longest + "#", buffer) << "the item's length and no more";
    EXPECT_EQ(-1, text.get(nullptr));
    if (text.set != nullptr) {
      EXPECT_EQ(0, text.set("AB"));
      EXPECT_EQ("AB" + std::string(text.length - 2, '\0') + "!", item(text.index, text.length + 1));
      EXPECT_EQ(0, text.set((longest + "zz").c_str()));
      EXPECT_EQ(longest + "!", item(text.index, text.length + 1));
      EXPECT_EQ(-1, text.set(nullptr));
    }
    item_fails(text.index);
    buffer.assign(text.length, '#');
    EXPECT_EQ(-1, text.get(buffer.data()));
    EXPECT_EQ(std::string(text.length, '#'), buffer) << "a failure leaves the buffer alone";
    if (text.set != nullptr) {
      EXPECT_EQ(-1, text.set("CD"));
    }
    EXPECT_EQ(longest + "!", item(text.index, text.length + 1));
  }
}

TEST_F(FactoryItems, RawBytesAreCopiedWhole) {
  const std::string_view sum = "\x01\x00\xFF\x02"sv;
  EXPECT_EQ(0, set_gpio_sum(sum.data()));
  char buffer[40] = {};
  EXPECT_EQ(0, get_gpio_sum(buffer));
  EXPECT_EQ(sum, std::string_view(buffer, 4));
  EXPECT_EQ(0, set_dload_factory_reset_flag_ftm_item("\x05"));
  EXPECT_EQ(5, get_int_ftm_by_index(item::dload_factory_reset));
  EXPECT_EQ(0, get_dload_factory_reset_flag_ftm_item(buffer));
  EXPECT_EQ(5, buffer[0]);

  const std::string slots = "0x000000010x00000002" + std::string(10, '\0') + "0x00000004";
  EXPECT_EQ(0, set_midauto_crc_list(slots.data()));
  EXPECT_EQ(slots, item(item::midauto_crc_list, 40));
  EXPECT_EQ(0, get_midauto_crc_list(buffer));
  EXPECT_EQ(slots, std::string_view(buffer, 40));
}

TEST_F(FactoryItems, ClearThenWriteStopsWhenTheClearFails) {
  const std::string text(40, 'n');
  for (const auto& [number, set] :
       {std::pair(212, set_saatresult), {251, set_midauto_result}, {253, set_midauto_crc_list}}) {
    const auto next_writes = [&](Effect effect, int value, int times) {
      virtual_phone::set_fault(
          phone(), {0, Part::item, std::to_string(number), Access::write, effect, value, times});
    };
    set_item(number, "old");
    next_writes(Effect::fail, -1, 1);  // the second would work
    EXPECT_EQ(-1, set(text.c_str())) << number;
    EXPECT_EQ("old", item_text(number));
    next_writes(Effect::returns, 1, 2);
    EXPECT_EQ(0, set(text.c_str())) << number;
    EXPECT_EQ(0U, virtual_phone::faults(phone()).size()) << number << " is written twice";
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
  std::filesystem::create_directory(file(kAgree));  // which is no file to be removed
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
  std::filesystem::remove(file(kAgree));
  write_file(file(kAgree), "agreed");
  for (const int status : {2, 4}) EXPECT_EQ(0, set_factory_status(status));
  EXPECT_TRUE(std::filesystem::exists(file(kAgree)));
  lines();
  item_fails(item::factory_status);
  EXPECT_EQ(-1, set_factory_status(3));
  EXPECT_FALSE(std::filesystem::exists(file(kAgree)));
  EXPECT_EQ("3", property(kStatusProperty)) << "set already, on purpose";
  EXPECT_EQ("24", item_text(item::frst_trace)) << "the trace is not";
  EXPECT_THAT(lines(),
              ElementsAre("I Fcx: set_factory_status:[3] \n", "I Fcx: Set ftm Error! Item : 2"));
}

TEST_F(FactoryItems, ATraceOf2047CharactersStartsAnew) {
  set_item(item::frst_trace, std::string(2046, '1'));
  EXPECT_EQ(0, set_frst_trace(2));
  EXPECT_EQ(std::string(2046, '1') + "2" + '\0', item(item::frst_trace, 2048));
  lines();
  EXPECT_EQ(0, set_frst_trace(3));
  EXPECT_EQ("3" + std::string(2047, '\0'), item(item::frst_trace, 2048));
  EXPECT_THAT(lines(), ElementsAre("I Fcx: Full QVFTM_FRST_TRACE, initialize this item",
                                   "I Fcx: trace value : 3>"));
  set_item(item::frst_trace, std::string(2048, '1'));
  EXPECT_EQ(0, set_frst_trace(4));
  EXPECT_EQ("4", item_text(item::frst_trace)) << "no terminator at all";
  set_item(item::frst_trace, "23\0stale"sv);
  EXPECT_EQ(0, set_frst_trace(6));
  EXPECT_EQ("236" + std::string(2045, '\0'), item(item::frst_trace, 2048))
      << "nothing from after the text";
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
  set_item(item::crc_wizard, "3");
  for (const char* number : {"73", "49", "101", "40"}) {
    fault(Part::item, number, Effect::fail, -1, Access::write);
  }
  EXPECT_EQ(-1, set_suffix_item("AUSA"));
  EXPECT_EQ(0, get_suffix_item(buffer));
  EXPECT_EQ(-1, set_crcwizard(12));
  EXPECT_EQ(0, get_crcwizard(buffer));
  EXPECT_EQ(-1, set_lcd_break_mode(1));
  EXPECT_EQ(-1, set_workfrstmodeon_status(2));
  EXPECT_THAT(
      lines(),
      ElementsAre("I Fcx: Set SUFFIX : AUSA", "I Fcx: Get SUFFIX : AEUROP",
                  "I Fcx: CWCWIZARD set_crcwizard(1)\n", "I Fcx: CWCWIZARD get_crcwizard pass\n",
                  "I Fcx: CWCWIZARD get_crcwizard(3)\n", "I Fcx: set_lcd_break_status:[1] \n",
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

}  // namespace
}  // namespace fcx_test
