// Commands that read and write factory items.
#include "tests/dispatch/command_test.h"

namespace fcx_test {
namespace {

class ItemHandlers : public CommandTest {};

using Lines = std::vector<std::string>;

/// The numbers stand here as stations know them: opcode, item, its length, the answer when it is
/// empty, and what is logged of the stored text "A1", or nothing.
const std::tuple<int32_t, int, size_t, const char*, std::string> kTextCommands[] = {
    {4010, 9, 12, "0", "I Diag_Lib: SERIAL NUM : 9 (A1)\n"},
    {4015, 18, 16, "", "I Diag_Lib: MSN : 18 (A1)\n"},
    {4016, 19, 16, "", "I Diag_Lib: MANUF DATE : 19 (A1)\n"},
    {4017, 36, 10, "", ""},
    {4018, 37, 16, "000000000000000", "I Diag_Lib: CSN : 37 (A1)\n"},
    {4024, 31, 50, "", ""},
    {4230, 212, 256, "", ""},
    {4240, 300, 4, "", ""},
    {4296, 213, 1, "", "I Diag_Lib: IMAGE_STATUS : 213 (A1)\n"},
    {4297, 214, 4, "", "I Diag_Lib: IMAGE_SECNO : 214 (A1)\n"},
    {4298, 215, 16, "", "I Diag_Lib: IMAGE_NAME : 215 (A1)\n"},
    {4404, 420, 30, "000000000000000", "I Diag_Lib: Read sku: A1\n"},
    {4407, 251, 128, "", ""},
    {4417, 152, 8, "", "I Diag_Lib: fusion_modem_disable : A1\n"}};

TEST_F(ItemHandlers, AnswerAnItemsTextOrItsDefault) {
  const auto with_text = [](std::string line, const std::string& text) {
    return line.empty() ? Lines{} : Lines{line.replace(line.find("A1"), 2, text)};
  };
  for (const auto& [opcode, number, length, when_empty, line] : kTextCommands) {
    SCOPED_TRACE(opcode);
    EXPECT_THAT(send(opcode), Answers(QVCMD_OK, when_empty));
    EXPECT_EQ(with_text(line, ""), lines_of(opcode)) << "the text as it is stored, not the default";
    const std::string text("A1", std::min<size_t>(length, 2));
    set_item(number, text);
    const qvcmd_response response = send_unclean(opcode);
    EXPECT_THAT(response, Answers(QVCMD_OK, text));
    EXPECT_EQ('\0', response.data[text.size()]);
    EXPECT_EQ(with_text(line, text), lines_of(opcode));
    // Text of the full length has no terminator; what is stored after it is not the item's.
    const std::string full(length, 'x');
    set_item(number, full + "beyond");
    EXPECT_THAT(send(opcode), Answers(QVCMD_OK, full));
    lines();
  }
}

TEST_F(ItemHandlers, AShortReadAnswersWhatArrived) {
  set_item(item::serial_number, "QV2006A00123");
  fault(Part::item, "9", Effect::shorter, 4);
  EXPECT_THAT(send(4010), Answers(QVCMD_OK, "QV20"));
}

TEST_F(ItemHandlers, WritesStoreTextWithoutATailOfTheOldOne) {
  const char* saat =
      "I Diag_Lib: [handle_set_saat_result] saatresult: PASS, data: PASS, data_len: 4\n";
  const std::tuple<int32_t, int, size_t, const char*, Lines> cases[] = {
      {4018, 37, 16, "CSN9", {"I Diag_Lib: CSN Write OK\n"}},
      {3170, 129, 8, "on", {}},
      {4416, 152, 8, "1", {}},
      {4408, 251, 128, "11", {}},
      {4231, 212, 256, "PASS", {saat}},
      {4241, 300, 4, "1A", {}}};
  for (const auto& [opcode, number, length, text, written] : cases) {
    SCOPED_TRACE(opcode);
    set_item(number, std::string(length, 'z') + "!");
    EXPECT_EQ(QVCMD_OK, send(opcode, text).result);
    EXPECT_EQ(written, lines_of(opcode));
    std::string expected = text;
    expected.resize(length);
    EXPECT_EQ(expected + "!", item(number, length + 1)) << "the whole item and no more";

    // Longer than the item: cut at its length.
    EXPECT_EQ(QVCMD_OK, send(opcode, std::string(300, 'o')).result);
    EXPECT_EQ(std::string(length, 'o') + "!", item(number, length + 1));
    lines();
  }
}

TEST_F(ItemHandlers, DownloadModeIsOffUnlessItBeginsWithO) {
  for (const auto& [stored, answer] :
       {std::pair("", "off"), {"on", "on"}, {"o", "o"}, {"On", "off"}, {"fast", "off"}}) {
    set_item(item::dload_mode, std::string(8, '\0').replace(0, strlen(stored), stored));
    EXPECT_THAT(send(3171), Answers(QVCMD_OK, answer)) << stored;
  }
  set_item(item::dload_mode, "on\0\0\0\0\0\0"sv);
  lines();
  for (const char* refused : {"", "fast", "On", " o"}) {
    EXPECT_THAT(send(3170, refused), Answers(QVCMD_FAIL, "")) << refused;
    EXPECT_THAT(lines_of(3170), ElementsAre("E Diag_Lib: handle_set_dload_mode: a download mode "
                                            "begins with the letter o\n"))
        << refused;
    EXPECT_EQ("on", item_text(item::dload_mode)) << refused;
  }
}

TEST_F(ItemHandlers, ChargerSkipReadsWithTwoAndWritesTheLowByteOtherwise) {
  const std::pair<const char*, int> writes[] = {
      {"1", 1},           {"0", 0},   {"255", 255}, {"256", 0}, {"259", 3}, {"-1", 255},
      {" \t+7x", 7},      {"abc", 0}, {"", 0},      {"+-5", 0}, {"-", 0},   {"99999999999", 255},
      {"-99999999999", 0}};
  for (const auto& [text, stored] : writes) {
    set_item(item::charger_skip, "\x33"sv);
    EXPECT_THAT(send(4003, text), Answers(QVCMD_OK, "")) << text;
    EXPECT_EQ(stored, static_cast<uint8_t>(item(item::charger_skip, 1)[0])) << text;
  }
  for (const char* read : {"2", "258", "-254"}) {
    set_item(item::charger_skip, "\x00"sv);
    EXPECT_THAT(send_unclean(4003, read).result, QVCMD_OK) << read;
    set_item(item::charger_skip, "\x80"sv);
    EXPECT_THAT(send(4003, read), Answers(QVCMD_FAIL, "")) << read;
  }
}

TEST_F(ItemHandlers, TealImeIsARawByteBelowThree) {
  for (const auto& [byte, stored] : {std::pair("\x00"sv, '\0'), {"\x02"sv, '\2'}}) {
    EXPECT_EQ(QVCMD_OK, send(3201, byte).result) << int{byte[0]};
    EXPECT_THAT(lines_of(3201), IsEmpty());
    EXPECT_EQ(stored, item(item::teal_ime, 1)[0]);
  }
  for (const int refused : {3, 0x31, 0x80, 0xFF}) {
    EXPECT_EQ(QVCMD_FAIL, send(3201, std::string(1, static_cast<char>(refused))).result);
    EXPECT_THAT(lines_of(3201), ElementsAre("E Diag_Lib: handle_set_teal_ime: there is no "
                                            "selection " +
                                            std::to_string(refused) + "\n"));
    EXPECT_EQ('\2', item(item::teal_ime, 1)[0]) << refused;
  }
  EXPECT_EQ('U', send_unclean(3200).data[1]) << "one byte, and no end of a text";
  EXPECT_THAT(lines_of(3200), IsEmpty());
}

TEST_F(ItemHandlers, HiddenMenuIsADecimalNumber) {
  for (const auto& [byte, text] : {std::pair('\0', "0"), {'\1', "1"}, {'\xFF', "255"}}) {
    set_item(item::hidden_menu, std::string(1, byte));
    EXPECT_THAT(send(4025), Answers(QVCMD_OK, text));
    EXPECT_THAT(lines_of(4025),
                ElementsAre("I Diag_Lib: HiddenMenu: Enable/Disable[" + std::string(text) + "]\n"));
  }
}

}  // namespace
}  // namespace fcx_test
