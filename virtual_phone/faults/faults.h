// Faults that somebody has set on a part of the phone.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device_home.h"
#include "virtual_phone/core/enum_names.h"
#include "virtual_phone/core/phone.h"

namespace virtual_phone {

/// What a fault can stand on. Its target is an item's number, a property's name, the device path of
/// a file or a directory, the number of a request of the modem link, the name of one of kServices,
/// or of a thread; or the opcode of a command, whose accesses to other parts it strikes. The power,
/// and the daemon's process, have none: what strikes them strikes after a change of what the phone
/// keeps. On the clock nothing strikes; it is told of as the others are.
enum class Part { item, property, file, request, service, thread, command, power, daemon, clock };
template <>
inline constexpr EnumName<Part> kEnumNames<Part>[] = {
    {Part::item, "item"},       {Part::property, "property"}, {Part::file, "file"},
    {Part::request, "request"}, {Part::service, "service"},   {Part::thread, "thread"},
    {Part::command, "command"}, {Part::power, "power"},       {Part::daemon, "daemon"},
    {Part::clock, "clock"}};

/// When it strikes: with which accesses, or with any that its effect can strike. A directory is
/// flushed under its own path. A service is looked up (`find`) or called. Those that are called as
/// a part are a command's to that part.
enum class Access {
  any,
  open,
  read,
  write,
  sync,
  sync_directory,
  rename,
  remove,
  stat,
  chmod,
  chown,
  mkdir,
  seek,
  close,
  ioctl,
  mmap,
  call,
  find,
  request,
  item,
  property,
  file,
  service,
  start,
  sleep
};
template <>
inline constexpr EnumName<Access> kEnumNames<Access>[] = {
    {Access::any, "any"},         {Access::open, "open"},       {Access::read, "read"},
    {Access::write, "write"},     {Access::sync, "sync"},       {Access::sync_directory, "syncdir"},
    {Access::rename, "rename"},   {Access::remove, "remove"},   {Access::stat, "stat"},
    {Access::chmod, "chmod"},     {Access::chown, "chown"},     {Access::mkdir, "mkdir"},
    {Access::seek, "seek"},       {Access::close, "close"},     {Access::ioctl, "ioctl"},
    {Access::mmap, "mmap"},       {Access::call, "call"},       {Access::find, "find"},
    {Access::request, "request"}, {Access::item, "item"},       {Access::property, "property"},
    {Access::file, "file"},       {Access::service, "service"}, {Access::start, "start"},
    {Access::sleep, "sleep"}};

/// What happens. Which parts know it, and what the value means, is in fault_effects().
enum class Effect {
  fail,
  late,
  shorter,
  returns,
  garbage,
  status,
  refuse,
  empty,
  longer,
  length,
  absent,
  dies,
  size,
  cut
};
template <>
inline constexpr EnumName<Effect> kEnumNames<Effect>[] = {
    {Effect::fail, "fail"},      {Effect::late, "late"},       {Effect::shorter, "short"},
    {Effect::returns, "return"}, {Effect::garbage, "garbage"}, {Effect::status, "status"},
    {Effect::refuse, "refuse"},  {Effect::empty, "empty"},     {Effect::longer, "long"},
    {Effect::length, "length"},  {Effect::absent, "absent"},   {Effect::dies, "dies"},
    {Effect::size, "size"},      {Effect::cut, "cut"}};

template <>
inline constexpr EnumName<fcx::LibraryThread> kEnumNames<fcx::LibraryThread>[] = {
    {fcx::LibraryThread::carrier_set_up, "carrier_set_up"},
    {fcx::LibraryThread::carrier_restore, "carrier_restore"},
    {fcx::LibraryThread::usb_path, "usb_path"},
    {fcx::LibraryThread::modem_reset, "modem_reset"},
    {fcx::LibraryThread::reboot, "reboot"},
    {fcx::LibraryThread::power_off, "power_off"},
    {fcx::LibraryThread::cable_wait, "cable_wait"},
    {fcx::LibraryThread::screencap, "screencap"}};

/// The services beside the library that a fault can stand on.
struct FaultService {
  const char* name;
  bool can_die;  ///< a call to it is on its way for a while; else it is done at once, or not at all
  bool is_awaited;  ///< a lookup waits for it to come up, as getService() does
  const char* what;
};
inline constexpr FaultService kServices[] = {
    {"dmi", true, false, "the modem"},
    {"diag", true, false, "NV packets"},
    {"atservice", true, true, "the system side"},
    {"filehandle", true, true, "files of an overlay"},
    {"reboot", false, false, "reboot and power-off"},
    {"wakelock", false, false, "wake locks"},
    {"restorecon", false, false, "file labels"},
};

/// The most bytes that a `longer` answer has.
constexpr int64_t kLongestAnswer = 65536;

struct Fault {
  int64_t id = 0;  ///< given when it is set
  Part part;
  std::string target;
  Access access = Access::any;
  Effect effect;
  int64_t value = 0;
  std::optional<int64_t> remaining;  ///< how often it strikes; until it is cleared when not given
  int64_t after = 1;                 ///< of the accesses from now on, the first that it strikes
                                     ///< (both count the runs of a command, see RunningCommand)
};

/// What an effect does, where, and when: the rows from which the checks and the tool's help are
/// made. The first of a part is how it usually fails, which faults on commands let it do.
struct EffectRow {
  Part part;
  Effect effect;
  std::vector<Access> strikes;  ///< the accesses that it can strike; none where there is no choice
  const char* value_name;       ///< null when it takes none
  std::optional<int64_t> default_value;
  const char* meaning;
  Access unless_said =
      Access::any;  ///< where it strikes when nobody says: all of them, or this one
};
const std::vector<EffectRow>& fault_effects();

/// The highest errno value with which a file operation can fail.
constexpr int64_t kHighestError = 133;

/// Sets a fault. Throws Refused, with the reason, for one that can never strike. @return its id
int64_t set_fault(Phone& phone, Fault fault);
std::vector<Fault> faults(Phone& phone);
/// Removes one fault. @return whether there was one
bool clear_fault(Phone& phone, int64_t id);
/// Removes all faults. @return how many there were
int clear_faults(Phone& phone);

/// What somebody does who meets a late fault: wait, or go on as with one that fails.
enum class WhenLate { waits, gives_up };

/// Counts the access down in all faults that it meets, whether or not one strikes it before them.
/// @return the fault that strikes it: the oldest of those that do, but for late ones before it,
///         which have been slept through already unless `when_late` says otherwise. Of one on the
///         command that runs, the usual failure of the part.
std::optional<Fault> strike(Phone& phone, Part part, std::string_view target, Access access,
                            WhenLate when_late = WhenLate::waits);

/// Whether there is a fault on the power, or on the daemon's process.
bool can_strike_after_changes(Phone& phone);

/// What faults on commands call an access to a part; nothing for a part that they cannot strike.
std::optional<Access> access_to(Part part);

/// One run of a command: from when this object is made until it is gone, every access of this
/// process is the command's, whichever thread makes it. One at a time.
///
/// A fault on a command strikes whole runs: the first access that one meets settles whether it
/// strikes that run, and counts it down; every further one goes the same way.
class RunningCommand {
 public:
  explicit RunningCommand(int32_t opcode);
  ~RunningCommand();
  RunningCommand(const RunningCommand&) = delete;
  RunningCommand& operator=(const RunningCommand&) = delete;

  /// The parts of which something was accessed so far, whether or not a fault has struck it.
  std::set<Part> accessed() const;
};

}  // namespace virtual_phone
