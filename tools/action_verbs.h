// What can be asked of a phone as it is typed: factory commands, AT lines, starts. `fcx send` and
// the like read their words with this, and so do the groups that do the same in another way.
#pragma once

#include <functional>
#include <string>

#include "daemon/action.h"
#include "tools/cli.h"

namespace cli {

/// The action that was typed, once the command line is read. Throws UsageError for one that makes
/// no sense.
using ReadAction = std::function<factory_daemon::Action()>;

// Each gives a verb the words and options of one kind of action. The verb may have more.

/// A command's opcode or name, and its argument.
ReadAction takes_command(Verb& verb);
/// An AT line without its end.
ReadAction takes_at_line(Verb& verb);
/// Whether the daemon alone starts again.
ReadAction takes_start(Verb& verb);
/// The reason of a restart.
ReadAction takes_restart(Verb& verb);

/// Gives a group the verbs `send`, `at`, `boot` and `reboot`, which take what those of the tool
/// do; an option of the group may stand after them, too. Their examples are the group's.
/// @param run is given what was typed
void add_action_verbs(Verb& group, Invocation& invocation,
                      std::function<void(const factory_daemon::Action&)> run);

/// The words that are typed for an action: "send 4018 123", "at 'AT%BTAD?'", "boot --daemon". A
/// shell reads them as they are.
std::string typed_words(const factory_daemon::Action& action);

}  // namespace cli
