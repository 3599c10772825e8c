// Commands that read and write factory items.
#include "tests/phone_fixture.h"

namespace fcx_test {
namespace {

using std::string_view_literals::operator""sv;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using virtual_phone::Access;
using virtual_phone::Effect;
using virtual_phone::Part;

class ItemHandlers : public PhoneTest {};

struct TextCommand {
  int32_t opcode;
  int item;
  size_t length;
  const char* when_empty;
  const char* log;  ///< what is logged of the stored text "A1", or null
};

constexpr TextCommand kTextCommands[] = {
    {4010, 9, 12, "0", "SERIAL NUM : 9 (A1)\n"},
    {4015, 18, 16, "", "MSN : 18 (A1)\n"},
    {4016, 19, 16, "", "MANUF DATE : 19 (A1)\n"},
    {4017, 36, 10, "", nullptr},
    {4018, 37, 16, "000000000000000", "CSN : 37 (A1)\n"},
    {4024, 31, 50, "", nullptr},
    {4230, 212, 256, "", nullptr},
    {4297, 214, 4, "", "IMAGE_SECNO : 214 (A1)\n"},
    {4298, 215, 16, "", "IMAGE_NAME : 215 (A1)\n"},
    {4404, 420, 30, "000000000000000", "Read sku: A1\n"},
    {4407, 251, 128, "", nullptr},
    {4417, 152, 8, "", "fusion_modem_disable : A1\n"},
};

TEST_F(ItemHandlers, AnswerAnItemsTextItsDefaultOrAFailure) {
  for (const TextCommand& command : kTextCommands) {
    SCOPED_TRACE(command.opcode);
    EXPECT_THAT(send(command.opcode), Answers(QVCMD_OK, command.when_empty));

    log();
    set_item(command.item, "A1"sv);
    const qvcmd_response response = send_unclean(command.opcode);
    EXPECT_THAT(response, Answers(QVCMD_OK, "A1"));
    EXPECT_EQ('\0', response.data[2]);
    if (command.log != nullptr) {
      EXPECT_EQ(command.log, log().at(1));
    }

    // Text of the full length has no terminator; what stands behind it is not the item's.
    const std::string full(command.length, 'x');
    set_item(command.item, full + "beyond");
    EXPECT_THAT(send(command.opcode), Answers(QVCMD_OK, full));

    fault(Part::item, std::to_string(command.item), Effect::garbage, 0, Access::read);
    EXPECT_EQ(std::string(command.length, '\xFF'), data(send(command.opcode)));
    virtual_phone::clear_faults(phone());

    log();
    item_fails(command.item);
    const qvcmd_response failed = send(command.opcode);
    EXPECT_EQ(0, failed.data_len);
    EXPECT_EQ("", std::string(failed.data));
    if (command.opcode == 4404) {
      EXPECT_EQ(QVCMD_OK, failed.result) << "left alone, on purpose";
    } else if (command.opcode == 4230 || command.opcode == 4407) {
      EXPECT_EQ(-1, failed.result) << "the accessor's code";
    } else {
      EXPECT_EQ(QVCMD_FAIL, failed.result);
    }
    EXPECT_GE(log().size(), 2U) << "a failure is logged";
  }
}

TEST_F(ItemHandlers, AShortReadAnswersWhatArrived) {
  set_item(9, "QV2006A00123");
  fault(Part::item, "9", Effect::shorter, 4);
  EXPECT_THAT(send(4010), Answers(QVCMD_OK, "QV20"));
}

TEST_F(ItemHandlers, SomeClearTheWholeRecordAndOthersOnlyWriteTheirFields) {
  for (const int32_t clears :
       {4010, 4015, 4016, 4017, 4018, 4024, 4025, 4061, 4230, 4231, 4296, 4297, 4298, 4418, 4419}) {
    const qvcmd_response response = send_unclean(clears);
    EXPECT_EQ(0, response.reserved) << clears;
    EXPECT_EQ('\0', response.data[2047]) << clears;
  }
  for (const int32_t keeps : {3170, 3171, 3200, 3201, 4003, 4060, 4215, 4232, 4240, 4241, 4295,
                              4402, 4404, 4407, 4408, 4409, 4416, 4417}) {
    const qvcmd_response response = send_unclean(keeps);
    EXPECT_EQ(kUntouched, response.reserved) << keeps;
    EXPECT_EQ('U', response.data[2047]) << keeps;
  }
}

TEST_F(ItemHandlers, WritesStoreTextWithoutATailOfTheOldOne) {
  const struct {
    int32_t opcode;
    int item;
    size_t length;
    const char* text;
  } cases[] = {{4018, 37, 16, "CSN9"}, {3170, 129, 8, "on"},     {4416, 152, 8, "1"},
               {4408, 251, 128, "11"}, {4231, 212, 256, "PASS"}, {4241, 300, 4, "1A"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.opcode);
    set_item(c.item, std::string(c.length, 'z') + "!");
    EXPECT_EQ(QVCMD_OK, send(c.opcode, c.text).result);
    std::string expected = c.text;
    expected.resize(c.length);
    EXPECT_EQ(expected + "!", item(c.item, c.length + 1)) << "the whole item and no more";

    // Longer than the item: cut at its length.
    EXPECT_EQ(QVCMD_OK, send(c.opcode, std::string(300, 'o')).result);
    EXPECT_EQ(std::string(c.length, 'o') + "!", item(c.item, c.length + 1));

    fault(Part::item, std::to_string(c.item), Effect::fail, -5, Access::write);
    EXPECT_NE(QVCMD_OK, send(c.opcode, c.text).result);
    EXPECT_EQ(std::string(c.length, 'o') + "!", item(c.item, c.length + 1)) << "nothing changed";
  }
  log();
  send(4018, "123456789012345");
  EXPECT_THAT(log(), ElementsAre("service_handler: opcode = 4018\n",
                                 HasSubstr("item 37 cannot be written")));
  virtual_phone::clear_faults(phone());
  send(4018, "123456789012345");
  EXPECT_THAT(log(), ElementsAre("service_handler: opcode = 4018\n", "CSN Write OK\n"));
}

TEST_F(ItemHandlers, DownloadModeIsOffUnlessItBeginsWithO) {
  for (const auto& [stored, answer] :
       {std::pair("", "off"), {"on", "on"}, {"o", "o"}, {"On", "off"}, {"fast", "off"}}) {
    set_item(129, std::string(8, '\0').replace(0, strlen(stored), stored));
    EXPECT_THAT(send(3171), Answers(QVCMD_OK, answer)) << stored;
  }
  set_item(129, "on\0\0\0\0\0\0"sv);
  for (const char* refused : {"", "fast", "On", " o"}) {
    EXPECT_THAT(send(3170, refused), Answers(QVCMD_FAIL, "")) << refused;
    EXPECT_EQ("on", item_text(129));
  }
  item_fails(129);
  EXPECT_THAT(send(3171), Answers(QVCMD_OK, "off"));
}

TEST_F(ItemHandlers, ChargerSkipReadsWithTwoAndWritesTheLowByteOtherwise) {
  const struct {
    const char* text;
    int stored;
  } writes[] = {
      {"1", 1},           {"0", 0},   {"255", 255}, {"256", 0}, {"259", 3}, {"-1", 255},
      {" \t+7x", 7},      {"abc", 0}, {"", 0},      {"+-5", 0}, {"-", 0},   {"99999999999", 255},
      {"-99999999999", 0}};
  for (const auto& c : writes) {
    set_item(10, "\x33"sv);
    EXPECT_THAT(send(4003, c.text), Answers(QVCMD_OK, "")) << c.text;
    EXPECT_EQ(c.stored, static_cast<uint8_t>(item(10, 1)[0])) << c.text;
  }
  for (const char* read : {"2", "258", "-254"}) {
    set_item(10, "\x00"sv);
    EXPECT_THAT(send_unclean(4003, read).result, QVCMD_OK) << read;
    set_item(10, "\x80"sv);
    EXPECT_THAT(send(4003, read), Answers(QVCMD_FAIL, "")) << read;
  }
  item_fails(10);
  EXPECT_THAT(send(4003, "2"), Answers(QVCMD_FAIL, ""));
  EXPECT_THAT(send(4003, "1"), Answers(QVCMD_OK, "")) << "whatever the write returned";
}

TEST_F(ItemHandlers, TealImeIsARawByteBelowThree) {
  for (const auto& [byte, result, stored] : {std::tuple("\x00"sv, 0, '\0'),
                                             {"\x02"sv, 0, '\2'},
                                             {"\x03"sv, 1, '\2'},
                                             {"1"sv, 1, '\2'},
                                             {"\x80"sv, 1, '\2'},
                                             {"\xFF"sv, 1, '\2'}}) {
    EXPECT_EQ(result, send(3201, byte).result) << int{byte[0]};
    EXPECT_EQ(stored, item(75, 1)[0]);
  }
  EXPECT_THAT(send(3200), Answers(QVCMD_OK, "\2"));
  item_fails(75);
  EXPECT_THAT(send(3200), Answers(QVCMD_OK, "\xFF"));
  EXPECT_EQ(QVCMD_FAIL, send(3201, "\x01").result);
}

TEST_F(ItemHandlers, HiddenMenuIsADecimalNumber) {
  for (const auto& [byte, text] : {std::pair('\0', "0"), {'\1', "1"}, {'\xFF', "255"}}) {
    set_item(80, std::string(1, byte));
    EXPECT_THAT(send(4025), Answers(QVCMD_OK, text));
  }
  EXPECT_THAT(log(), IsSupersetOf({"HiddenMenu: Enable/Disable[255]\n"}));
  item_fails(80);
  EXPECT_THAT(send(4025), Answers(QVCMD_FAIL, ""));
}

TEST_F(ItemHandlers, ImageStatusIsOneCharacter) {
  set_item(213, "7x"sv);
  EXPECT_THAT(send(4296), Answers(QVCMD_OK, "7"));
  EXPECT_THAT(log(), IsSupersetOf({"IMAGE_STATUS : 213 (7)\n"}));
}

TEST_F(ItemHandlers, SetRevisionSaysWhatFailed) {
  item_fails(36);
  EXPECT_THAT(send(4017), Answers(QVCMD_FAIL, ""));
  EXPECT_EQ("handle_get_set_revision: get_set_version fail", log().back());
}

TEST_F(ItemHandlers, AStoreThatIsNotOpenFailsEveryRead) {
  phone().items_open = false;
  EXPECT_THAT(send(4010), Answers(QVCMD_FAIL, ""));
  EXPECT_THAT(send(4018, "1"), Answers(QVCMD_FAIL, ""));
}

}  // namespace
}  // namespace fcx_test
