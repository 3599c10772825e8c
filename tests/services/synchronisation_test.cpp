// What a start keeps in step: the modem's NV items, version items, and the fixed-area version.
#include "fcx/system_control.h"
#include "tests/story_test.h"

namespace fcx_test {
namespace {

class Synchronisation : public StoryTest {
 protected:
  Synchronisation() {
    let("version", "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0");
    let("sync", "E system_efs_sync Fail ! return error.|");
    let("default", "FFFFFFFFFFF-FFFFFFFFFFF-FFFFFFFFFFF-FFFFFFFFFFF-F");
    let("phone", "AAAAAAAAAAA-MAAAAAAAAAA-CCCCCCCCCCC-UUUUUUUUUUU-U");
  }
};

TEST_F(Synchronisation, TheFactoryModeEndsUpToStatusFour) {
  TELL("system_nvwrite_ftm_mode", system_nvwrite_ftm_mode(), R"(
nv 453=\1 -> I NV_FTM_MODE_I set 0\n => nv 453=; asked=550 551 200
nv 453=\1; item 2=\4 -> I NV_FTM_MODE_I set 0\n => nv 453=
nv 453=\1\0\0\0\1 -> I NV_FTM_MODE_I set 0\n => nv 453=
nv 453=\1\0\0\1 -> => nv 453=\1; asked=550
nv 453=\2 -> => nv 453=\2
nv 453= ->
nv 453=inactive -> => asked=550
nv 453=\1; item 2=\5 -> => nv 453=\1; asked=
nv 453=\1; item 2! -> E @: the factory status cannot be read\n => nv 453=\1; asked=
nv 453=failing -> E @: NV item 453 cannot be read: 4\n => result=1
nv 453=\1; 551!refuse -> E @: nv write fail\n => nv 453=\1; result=1
nv 453=\1; 200! -> ${sync}E @: efs sync fail\n => result=1
)");
}

TEST_F(Synchronisation, NvItemsGetTheTextsThatTheyDoNotHold) {
  let("full", std::string(128, 'n'));
  const std::tuple<const char*, int (*)(), const char*, const char*, const char*, const char*,
                   const char*>
      cases[] = {{"system_nvwrite_version_info", system_nvwrite_version_info, "33797", "SW Version",
                  "swv_length : 37", "swv_buf : QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0\n",
                  "QV100AT-00-V10a-OPEN-EU-JUN-01-2020+0"},
                 {"system_nvwrite_hwversion_info", system_nvwrite_hwversion_info, "33798",
                  "HW Version", "hwv_length : 3", "hwv_buf : 1.0 \n", "1.0"},
                 {"system_nvwrite_model_name_info", system_nvwrite_model_name_info, "33799",
                  "Model Name", "model_name_length : 6", "model_name_buf : QV-100\n", "QV-100"}};
  for (const auto& [name, call, item, what, length, buffer, text] : cases) {
    let("item", item);
    let("what", what);
    let("length", length);
    let("buffer", buffer);
    let("text", text);
    tell(name, call, R"(
let written = |I $what is synchronized with NV Item\n
-> I $length, nv_buf : , $buffer$written => nv $item=$text
nv $item=inactive -> I $length, nv_buf : , $buffer$written => nv $item=$text
nv $item=${text}x -> I $length, nv_buf : ${text}x, $buffer$written => nv $item=$text
nv $item=$full -> I $length, nv_buf : $full, $buffer$written => nv $item=$text
nv $item=$text -> I $length, nv_buf : $text, $buffer|I $what is already synchronized\n
  => nv $item=$text
nv $item=failing -> E @: NV item $item cannot be read: 4\n => result=1
nv $item=old; 551!refuse -> I $length, nv_buf : old, $buffer|E @: nv write fail\n
  => nv $item=old; result=1
200! -> I $length, nv_buf : , $buffer|${sync}E @: efs sync fail\n => result=1
)");
  }
  TELL("system_nvwrite_model_name_info", system_nvwrite_model_name_info(), R"(
model_name=QV10 -> I model_name_length : 4, nv_buf : , model_name_buf : QV10\n|
  I Model Name is synchronized with NV Item\n => nv 33799=QV10
let already = |I Model Name is already synchronized\n
model_name=QV1; nv 33799=old -> I model_name_length : 3, nv_buf : old, model_name_buf : QV1\n$already
  => nv 33799=old
model_name= -> I model_name_length : 0, nv_buf : , model_name_buf : \n$already
)");
}

TEST_F(Synchronisation, AStartStopsAtTheFirstTextThatFails) {
  let("hw",
      "I set_hw_revision : Can not read command line.\n|"
      "E system_nvwrite_hwversion_info: get_qve_hw_version fail\n");
  TELL("nv_factoryitem_sync", nv_factoryitem_sync(), R"(
let given = nv 33797=$version; nv 33798=1.0; nv 33799=QV-100;
let begin = I [@] @\n|
let one = I swv_length : 37, nv_buf : $version, swv_buf : $version\n|
  I SW Version is already synchronized\n|
let two = I hwv_length : 3, nv_buf : 1.0, hwv_buf : 1.0 \n|I HW Version is already synchronized\n|
let three = I model_name_length : 6, nv_buf : QV-100, model_name_buf : QV-100\n|
  I Model Name is already synchronized\n
$given nv 453=failing -> ${begin}E system_nvwrite_ftm_mode: NV item 453 cannot be read: 4\n|
  $one$two$three
$given 160! -> ${begin}E get_qve_factory_sw_version fail\n => result=1
$given /proc/cmdline!read -> $begin$one$hw => result=1
$given nv 33799=failing -> $begin$one${two}E system_nvwrite_model_name_info: NV item 33799 cannot
  be read: 4\n => result=1
)");
}

TEST_F(Synchronisation, VersionItemsFollowTheReport) {
  TELL("system_write_version_info", system_write_version_info(), R"(
let secured = QV100AT-00-V10a-310-410-JUN-01-2020+0
let given = item 421="1","310,410,FFFFFFFF,FFFFFFFF,FF"; item 101=\1
let one = I SW Version is written\n
let two = I SW Orginal Version is written\n|I set_lcd_break_status:[0] \n
let no = E get_qve_factory_sw_version fail: QVE_MODEM_VERSION_GSM_TYPE
$given -> $one|$two => item 14=$secured; item 15=$version; item 101=
$given; item 14=$secured; item 15=$version -> => item 101=\1
$given; item 14=${secured}x; item 15=$version -> $one => item 14=$secured; item 101=\1
$given; item 14!read -> E get_sw_version_ftm_item fail\n => item 15=
$given; 154! -> ${no}_SECURED\n => item 14=; item 15=
$given; item 14!write -> E @: the software version cannot be written\n|$two => item 14=
$given; item 15!read -> $one|E get_sw_original_version_ftm_item fail\n => item 101=\1
$given; 160!@2 -> $one|$no\n => item 15=; item 101=\1
$given; item 15!write -> $one|E @: the first software version cannot be written\n
  => item 15=; item 101=\1
$given; item 101!write -> $one|$two|E @: item 101 cannot be written\n
)");
}

TEST_F(Synchronisation, TheProductIdentifierFollowsTheModems) {
  let("full", std::string(30, 'P'));
  TELL("system_write_pid_info", system_write_pid_info(), R"(
let no = E get pid modem request fail : QVE_MODEM_MSG_PID_READ\n
modem pid=PID1 -> I PID is written\n => item 4=PID1; asked=202
modem pid=PID1; item 4=PID12 -> I PID is written\n => item 4=PID1
modem pid=PID1; item 4=PID1 ->
modem pid=${full}P; item 4=$full ->
item 4=PID1 -> => item 4=PID1
modem pid=\xFFPID; item 4=PID1 -> $no => item 4=PID1
modem pid=PID2; item 4=PID1; 202! -> $no => item 4=PID1
modem pid=PID2; item 4!read -> E get_pid fail\n => asked=
modem pid=PID2; item 4!write -> E PID write fail\n
)");
}

TEST_F(Synchronisation, TheFixedAreaVersionFollowsThePhonesOwn) {
  TELL("system_update_settings_from_cust", system_update_settings_from_cust(), R"(
let ftm = I SWFV FTM:  \s
let own = \n|I SWFV PHONE: $phone\n
let none = I get_swfv : Cannot find ap ubid\n|${ftm}old\n|I SWFV PHONE: \n|
item 31=old -> ${none}I SWFV-A updated, Model doesn't support SWFV\n => item 31=$default
item 31=old; item 31!write -> ${none}E @: item 31 cannot be written\n
item 31!read -> E @: item 31 cannot be read\n
let given = /vendor/etc/ap.ubid=AAAAAAAAAAA\n; /cust/cust.ubid=CCCCCCCCCCC\n;
  /data/.OP/userdata.ubid=UUUUUUUUUUU-U\n; item 31
let last = AAAAAAAAAAA-MAAAAAAAAAA-CCCCCCCCCCC-UUUUUUUUUUU-X
$given=$phone -> $ftm$phone$own => item 31=$phone; sbp.update=(not set)
$given=$last -> $ftm$last$own => item 31=$last
let set = |I persist.vendor.qve.data.sbp.update set to 0\n|
let kept = |I op ubid is exist|
$given!write -> $ftm$own|I ap ubid updated\n|I cp ubid updated\n|I cust ubid updated\n|
  I userdata ubid updated\n${set}E @: item 31 cannot be written\n => item 31=; sbp.update=0
let ap = AAAAAAAAAAX-MAAAAAAAAAA-CCCCCCCCCCC-UUUUUUUUUUU-X
let cp = AAAAAAAAAAA-MAAAAAAAAAX-CCCCCCCCCCC-UUUUUUUUUUU-X
let cust = AAAAAAAAAAA-MAAAAAAAAAA-CCCCCCCCCCX-UUUUUUUUUUU-X
let user = AAAAAAAAAAA-MAAAAAAAAAA-CCCCCCCCCCC-UUUUUUUUUUX-X
let end = I SWFV-A updated:
$given=$ap -> $ftm$ap$own|I ap ubid updated\n$kept$end$last\n => item 31=$last
$given=$cp -> $ftm$cp$own|I cp ubid updated\n$kept$end$last\n => item 31=$last
$given=$cust -> $ftm$cust$own|I cust ubid updated\n$kept$end$last\n => sbp.update=(not set)
$given=$user -> $ftm$user$own|I userdata ubid updated\n$set$end$phone\n
  => item 31=$phone; sbp.update=0
$given=$user; /oem/OP/_COMMON/op.ubid=UUUUUUUUUUU-U -> $ftm$user$own|I userdata ubid updated\n$kept$end$phone\n
  => item 31=$phone; sbp.update=(not set)
$given=$user; sbp.update!write -> $ftm$user$own|I userdata ubid updated\n|
  E @: persist.vendor.qve.data.sbp.update cannot be set\n|$end$user\n => item 31=$user
$given=$phone; /vendor/etc/ap.ubid=AAA\n -> $ftm$phone\n|I SWFV PHONE: AAA\n|I ap ubid updated\n|
  I cp ubid updated\n$kept${end}AAA\n => item 31=AAA
)");
}

TEST_F(Synchronisation, TheUserDataComeFromTheirFile) {
  TELL("userdata_tamra_version_update", userdata_tamra_version_update(), R"(
let absent = E get_swfv : Cannot find userdata ubid, set to default\n
let unread = E get_swfv : Cannot read userdata ubid, set to default\n
let made = I Userdata ID is updated to default value\n|
let new = I userdata id is updated\n|
let end = I Userdata ID is updated:
let file = /data/.userdataid
let begun = FFFFFFFFFFF-FFFFFFFFFFF-FFFFFFFFFFF-
-> $made$absent => item 31=$default; sbp.update=(not set)
item 31!write; $file=UUU -> E @: item 31 cannot be written\n => item 31=; sbp.update=(not set)
item 31!read; $file=UUU -> E @: item 31 cannot be read\n
item 31=$default -> $absent => item 31=$default; sbp.update=(not set)
item 31=$default; $file= -> $unread
item 31=$default; $file/in= -> $unread
item 31=$default; $file=UUU; $file!read -> $unread => item 31=$default
item 31=$default; $file!open 13 -> $unread
$file=UUUUUUUUUUU-U\nmore -> $made$new$end${begun}UUUUUUUUUUU-U\n
  => item 31=${begun}UUUUUUUUUUU-U; sbp.update=0
item 31=$default; $file=UUU\n -> $new$end${begun}UUU\n => item 31=${begun}UUU; sbp.update=0
item 31=$default; $file=\n -> $new$end$begun\n => item 31=$begun
item 31=$phone; $file=UUUUUUUUUUU-Uand more -> $end$phone\n => item 31=$phone; sbp.update=(not set)
item 31=$phone -> $absent|$new${end}AAAAAAAAAAA-MAAAAAAAAAA-CCCCCCCCCCC-FFFFFFFFFFF-F\n
  => item 31=AAAAAAAAAAA-MAAAAAAAAAA-CCCCCCCCCCC-FFFFFFFFFFF-F; sbp.update=0
item 31=$default; $file=UUU; item 31!write; sbp.update!write -> ${new}E @:
  persist.vendor.qve.data.sbp.update cannot be set\n|E @: item 31 cannot be written\n
  => item 31=$default; sbp.update=(not set)
)");
}

}  // namespace
}  // namespace fcx_test
