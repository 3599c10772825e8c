// What the shells do to complete a command line: each asks the tool that is being typed, and so
// knows its verbs, its values and the phone's.
#include <string_view>

#include "tools/completion.h"

namespace cli {
namespace {

constexpr char kBash[] =
    R"script(# Completion of fcx for bash: source it, or let bash-completion find it.
_fcx() {
  local rest=$COMP_LINE words=() word cur broken kind line i
  # "--times=3" and "hex:00" come in pieces, which no blank is between.
  for ((i = 0; i <= COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $i -eq 0 || $rest == [[:blank:]]* ]]; then words+=("$word"); else words[-1]+=$word; fi
    rest=${rest#"${rest%%[![:blank:]]*}"}
    rest=${rest#"$word"}
  done
  cur=${words[-1]}
  # Of such a word only the last piece is replaced.
  broken=${cur%"${cur##*[=:]}"}
  COMPREPLY=()
  {
    read -r kind
    while IFS= read -r line; do
      line=${line%%$'\t'*}
      COMPREPLY+=("${line#"$broken"}")
    done
  } < <("${words[0]/#\~/$HOME}" completion reply "${words[@]:1}" 2>/dev/null)
  case $kind in
  parts) compopt -o nospace 2>/dev/null ;;
  files | directories)
    compopt -o filenames 2>/dev/null
    local action=-f
    [ "$kind" = files ] || action=-d
    mapfile -t COMPREPLY < <(compgen $action -- "${cur#"$broken"}")
    ;;
  esac
}
complete -F _fcx fcx
)script";

constexpr char kZsh[] = R"script(#compdef fcx
# Completion of fcx for zsh: a file _fcx in a directory of $fpath.
_fcx() {
  local kind line
  local -a replies choices
  replies=("${(@f)$(${~words[1]} completion reply "${(@Q)words[2,CURRENT]}" 2>/dev/null)}")
  kind=$replies[1]
  case $kind in
  files | directories)
    # Of "--phone=DIR" the directory.
    compset -P '--*='
    if [[ $kind == files ]]; then _files; else _files -/; fi
    return
    ;;
  esac
  for line in "${(@)replies[2,-1]}"; do
    choices+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
  done
  if [[ $kind == parts ]]; then
    _describe -V 'path' choices -S ''
  else
    _describe -V 'word' choices
  fi
}
if [[ $funcstack[1] == _fcx ]]; then
  _fcx "$@"
elif (( $+functions[compdef] )); then
  compdef _fcx fcx
fi
)script";

constexpr char kFish[] = R"script(# Completion of fcx for fish.
function __fcx_complete
    set -l before (commandline -opc)
    set -l current (commandline -ct)
    set -l replies ($before[1] completion reply $before[2..] "$current" 2>/dev/null)
    switch $replies[1]
        case files
            __fish_complete_path (string replace -r '^--[^=]*=' '' -- $current)
        case directories
            __fish_complete_directories (string replace -r '^--[^=]*=' '' -- $current)
        case '*'
            string join \n -- $replies[2..]
    end
end
complete -c fcx -f -k -a '(__fcx_complete)'
)script";

struct Script {
  const char* shell;
  const char* meaning;
  const char* text;
};
constexpr Script kScripts[] = {
    {"bash", "of bash-completion/completions/fcx", kBash},
    {"zsh", "of zsh/site-functions/_fcx", kZsh},
    {"fish", "of fish/vendor_completions.d/fcx.fish", kFish},
};

}  // namespace

Choices completion_scripts() {
  Choices choices;
  for (const Script& script : kScripts) choices.push_back({script.shell, script.meaning});
  return choices;
}

const char* completion_script(const std::string& shell) {
  for (const Script& script : kScripts) {
    if (shell == script.shell) return script.text;
  }
  return nullptr;
}

}  // namespace cli
