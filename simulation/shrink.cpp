#include "simulation/shrink.h"

#include <algorithm>

#include "daemon/hex.h"

namespace simulation {
namespace {

/// As a word of a shell's command line.
std::string shell_word(const std::string& text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

class Shrinking {
 public:
  Shrinking(const Life& life, const Failure& failure, const Trial& trial)
      : best_{life, failure}, trial_(trial) {
    best_.life.steps.resize(failure.step + 1);
  }

  Shrunk run() {
    for (size_t piece = best_.life.steps.size() / 2; piece > 0; piece /= 2) leave_out(piece);
    calm();
    // One that was needed by another may not be any more.
    leave_out(1);
    return best_;
  }

 private:
  bool still_fails(Life life) {
    const auto failure = trial_(life);
    if (!failure.has_value() || !failure->is_like(best_.failure)) return false;
    life.steps.resize(failure->step + 1);
    best_ = {std::move(life), *failure};
    return true;
  }

  void leave_out(size_t piece) {
    for (size_t at = 0; at < best_.life.steps.size();) {
      Life without = best_.life;
      const auto from = without.steps.begin() + static_cast<ptrdiff_t>(at);
      const size_t count = std::min(piece, without.steps.size() - at);
      without.steps.erase(from, from + static_cast<ptrdiff_t>(count));
      if (without.steps.empty() || !still_fails(std::move(without))) at += piece;
    }
  }

  /// Leaves out what is in the way of steps.
  void calm() {
    for (size_t i = 0; i < best_.life.steps.size(); ++i) {
      if (!best_.life.steps[i].disturbance.has_value()) continue;
      Life calmer = best_.life;
      calmer.steps[i].disturbance.reset();
      still_fails(std::move(calmer));
    }
  }

  Shrunk best_;
  const Trial& trial_;
};

/// What stands for a file that is not there, and for one that nobody has cleared away.
constexpr char kAbsent[] = "(absent)";
constexpr char kLeftOver[] = "left over";

/// The outcome of a command as the model has it: "result 0, DATA".
constexpr char kShownAnswer[] =
    " | sed -n 's/^result  */result /p; s/^data  *\\(..*\\)/, \\1/p' | tr -d '\\n'";

/// Shows what the last step answers. Nothing where it is no command.
std::string answer_script(const Shrunk& shrunk) {
  const Step& last = shrunk.life.steps.back();
  if (!last.is_action(factory_daemon::Action::Kind::command)) return "";
  const std::vector<std::string> lines = command_lines(last);
  std::string script;
  const size_t place = last.disturbance.has_value() ? 1 : 0;
  for (size_t i = 0; i < lines.size(); ++i) {
    script += i == place ? "found=$(" + lines[i] + kShownAnswer + ")\n" : lines[i] + "\n";
  }
  // Where something has failed, more than one answer is right: then it is the wrong one that shows.
  const bool is_disturbed = last.disturbance.has_value();
  const auto& known = is_disturbed ? shrunk.failure.found : shrunk.failure.expected;
  return script + "known=" + shell_word(known.value_or("")) + "\n[ \"$found\" " +
         (is_disturbed ? "!=" : "=") + " \"$known\" ] && exit\necho " +
         shell_word(text_of(shrunk.failure)) + "\nexit 1\n";
}

std::string after(const std::string& key, size_t begin) { return key.substr(begin); }

/// A shell's command that prints the value which is wrong.
std::string look_at(const std::string& key) {
  const size_t blank = std::min(key.find(' '), key.size());
  const std::string kind = key.substr(0, blank);
  const std::string name = after(key, std::min(blank + 1, key.size()));
  if (kind == "item") return "fcx item get " + name + " | sed -n 's/^value  *//p'";
  if (kind == "property") return "fcx prop get " + shell_word(name) + " 2>/dev/null";
  if (kind == "modem") return "fcx modem --full | awk '$1 == \"" + name + "\" {print $2}'";
  if (kind == "nv") return "fcx modem nv " + name;
  if (kind == "sim") return "fcx sim --full | awk '$1 == \"" + name + "\" {print $2}'";
  if (kind == "overlay" || kind == "efs") return "cat \"$FCX_PHONE/" + kind + name + "\"";
  const std::string file = "\"$FCX_PHONE/root" + name + "\"";
  constexpr std::string_view kTemporary = "/temporary";
  if (name.size() > kTemporary.size() &&
      name.compare(name.size() - kTemporary.size(), kTemporary.size(), kTemporary) == 0) {
    const std::string directory = name.substr(0, name.size() - kTemporary.size());
    return "ls -A \"$FCX_PHONE/root" + directory + "\" | sed -n 's/^\\.temp\\..*/" + kLeftOver +
           "/p'";
  }
  // An empty file is there.
  return "cat " + file + " 2>/dev/null || echo '" + kAbsent + "'";
}

}  // namespace

Shrunk shrink(const Life& life, const Failure& failure, const Trial& trial) {
  return Shrinking(life, failure, trial).run();
}

std::string script_of(const Shrunk& shrunk) {
  const Failure& failure = shrunk.failure;
  std::string script = "#!/bin/sh\n# Seed " + std::to_string(shrunk.life.seed) + ": " +
                       text_of(failure) + "\n" +
                       "FCX_PHONE=$(mktemp -d)/phone\n"
                       "export FCX_PHONE TZ=UTC FCX_CLOCK=fast\n"
                       "trap 'rm -r \"${FCX_PHONE%/phone}\"' EXIT\n"
                       "fcx init --profile " +
                       shrunk.life.product->profile + " || exit\n";
  const std::string answer = failure.kind == Failure::Kind::answer ? answer_script(shrunk) : "";
  const size_t count = shrunk.life.steps.size() - (answer.empty() ? 0 : 1);
  for (size_t i = 0; i < count; ++i) {
    for (const std::string& line : command_lines(shrunk.life.steps[i])) script += line + "\n";
  }
  if (!answer.empty()) return script + answer;
  // Of time, nothing can be seen on the clock of these commands.
  if (failure.kind != Failure::Kind::value || failure.key == kReboot) {
    return script + "echo 'Of the last step: '" + shell_word(text_of(failure)) + "\n";
  }
  std::string expected = failure.expected.value_or("");
  const bool is_shown_as_word = failure.key.compare(0, 5, "item ") == 0;
  if (is_shown_as_word) expected = factory_daemon::as_word(expected);
  const bool is_file = failure.key.compare(0, 5, "file ") == 0;
  const bool is_left_over = is_file && failure.key.find("/temporary") != std::string::npos;
  if (is_file && !is_left_over && !failure.expected.has_value()) expected = kAbsent;
  // A shell takes what a command prints without the line ends at its end.
  expected.resize(expected.find_last_not_of('\n') + 1);
  return script + "expected=" + shell_word(expected) + "\nfound=$(" + look_at(failure.key) + ")\n" +
         "[ \"$found\" = \"$expected\" ] && exit\n"
         "echo " +
         shell_word(failure.key) + "\" is '$found', and should be '$expected'\"\nexit 1\n";
}

}  // namespace simulation
