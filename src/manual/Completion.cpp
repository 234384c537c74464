#include <algorithm>
#include <vector>

#include <invscan/catalogue.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "manual/Manual.h"

namespace invscan::manual {
namespace {

using agent::Command;
using agent::Option;
using Words = std::vector<std::string>;

// For all three shells: nothing inside has a meaning but the quote itself.
std::string quoted(const std::string& word) {
  std::string text = "'";
  for (const char c : word) text += c == '\'' ? "'\\''" : std::string(1, c);
  return text + "'";
}

std::string quotedWords(const Words& words) {
  Words list;
  for (const std::string& word : words) list.push_back(quoted(word));
  return agent::joined(list, " ");
}

Words splitAt(std::string_view text, char separator) {
  Words words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (end > 0) words.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return words;
}

// What an argument takes, without the brackets and dots of the usage: "GROUP". A machine is a file
// or a directory, and shells offer both where a file is wanted.
std::string kindOf(std::string argument) {
  std::erase_if(argument, [](char c) { return c == '[' || c == ']' || c == '.'; });
  return argument == "MACHINE" ? "FILE" : argument;
}

Words groupNames() {
  Words names;
  for (const kelGroupDef* group : agent::allGroups()) names.push_back(group->name);
  return names;
}

Words attributeNames(const kelGroupDef& group) {
  Words names;
  for (const kelAttribDef* attribute : agent::attributesOf(group)) names.push_back(attribute->name);
  return names;
}

Words commandNames() {
  Words names;
  for (const Command& command : agent::commands()) names.push_back(command.name);
  return names;
}

Words optionsOf(const Command& command) {
  Words names;
  for (const Option& option : agent::optionTable()) {
    if (option.applies(command)) names.push_back("--" + std::string(option.name));
  }
  return names;
}

// Options that take a value, and of which kind.
std::string kindOfValue(const Option& option) {
  return option.value == std::string("NAME") ? "FORMAT" : kindOf(option.value);
}

std::string lower(std::string name) {
  for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return name;
}

// How a shell spells a function that chooses by its first argument: what stands around the name,
// the quoted pattern and the quoted words.
struct Dialect {
  const char* beforeName;
  const char* afterName;
  const char* beforePattern;
  const char* beforeWords;
  const char* afterWords;
  const char* end;
};

constexpr Dialect kPosix = {"",
                            "() {\n  case \"$1\" in\n",
                            "    ",
                            ") set -- ",
                            " ;;\n",
                            "    *) set -- ;;\n  esac\n"
                            "  [ $# -eq 0 ] || printf '%s\\n' \"$@\"\n}\n\n"};
constexpr Dialect kFishDialect = {"function ", "\n  switch \"$argv[1]\"\n",
                                  "    case ", "\n      printf '%s\\n' ",
                                  "\n",        "  end\nend\n\n"};

class Tables {
 public:
  explicit Tables(const Dialect& dialect) : dialect_(dialect) {
    begin("_invscan_words");
    arm("COMMAND", commandNames());
    arm("GROUP", groupNames());
    finish();
    begin("_invscan_attributes");  // of a group, in lower case
    for (const kelGroupDef* group : agent::allGroups()) {
      arm(lower(group->name), attributeNames(*group));
    }
    finish();
    begin("_invscan_options");  // of a command
    for (const Command& command : agent::commands()) arm(command.name, optionsOf(command));
    finish();
    begin("_invscan_formats");  // of a command
    for (const Command& command : agent::commands()) {
      arm(command.name, {command.formats.begin(), command.formats.end()});
    }
    finish();
    begin("_invscan_value");  // the kind of an option's
    for (const Option& option : agent::optionTable()) {
      if (option.value) arm("--" + std::string(option.name), {kindOfValue(option)});
    }
    finish();
    begin("_invscan_arguments");  // the kinds of a command's; "..." for any number of the last
    for (const Command& command : agent::commands()) {
      Words kinds;
      for (const std::string& word : splitAt(command.arguments, ' ')) {
        kinds.push_back(kindOf(word));
        if (word.find("...") != word.npos) kinds.emplace_back("...");
      }
      arm(command.name, kinds);
    }
    finish();
  }

  const std::string& text() const { return text_; }

 private:
  void begin(const char* name) {
    text_.append(dialect_.beforeName).append(name).append(dialect_.afterName);
  }
  void arm(const std::string& pattern, const Words& words) {
    if (words.empty()) return;
    text_.append(dialect_.beforePattern).append(quoted(pattern)).append(dialect_.beforeWords);
    text_.append(quotedWords(words)).append(dialect_.afterWords);
  }
  void finish() { text_ += dialect_.end; }

  const Dialect& dialect_;
  std::string text_;
};

// What the cursor stands at, for shells that have the POSIX language: called with the words before
// it, without quotes. The kind goes to REPLY, the command to _invscan_command and the group before
// an attribute to _invscan_group.
constexpr char kPosixPlace[] = R"shell(_invscan_place() {
  local word option= place=-1
  _invscan_command= _invscan_group=
  for word; do
    if [ -n "$option" ]; then
      option=
    elif [ -n "$(_invscan_value "$word")" ]; then
      option=$word
    elif [ "${word#-}" = "$word" ]; then
      if [ "$place" -lt 0 ]; then
        place=0 _invscan_command=$(_invscan_words COMMAND | grep -Fx -- "$word")
        [ -z "$_invscan_command" ] || continue
      fi
      place=$((place + 1))
      [ "$place" -ne 1 ] || _invscan_group=$(printf '%s' "$word" | tr '[:upper:]' '[:lower:]')
    fi
  done
  REPLY=START
  if [ -n "$option" ]; then
    REPLY=$(_invscan_value "$option")
  elif [ "$place" -ge 0 ]; then
    REPLY= option=
    for word in $(_invscan_arguments "${_invscan_command:-scan}"); do
      [ "$word" != ... ] || { [ "$place" -lt 0 ] || REPLY=$option; break; }
      [ "$place" -ne 0 ] || REPLY=$word
      place=$((place - 1)) option=$word
    done
  fi
}

# Candidates for what is no file.
_invscan_candidates() {
  case "$REPLY" in
    START) _invscan_words COMMAND; _invscan_words GROUP ;;
    ATTRIBUTE) _invscan_attributes "$_invscan_group" ;;
    FORMAT) _invscan_formats "${_invscan_command:-scan}" ;;
    *'|'*) printf '%s\n' "$REPLY" | tr '|' '\n' ;;
    *) _invscan_words "$REPLY" ;;
  esac
}

)shell";

constexpr char kBash[] = R"shell(_invscan() {
  local IFS=$' \t\n' REPLY word words=() cursor= _invscan_command _invscan_group
  # "=" stands between an option and its value, quotes and backslashes are those of the line.
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [ "$word" = = ] || { word=${word//[\"\'\\]/}; words+=("$word"); }
  done
  cursor=${COMP_WORDS[COMP_CWORD]//[\"\'\\]/}
  [ "$cursor" != = ] || cursor=
  _invscan_place "${words[@]}"
  COMPREPLY=()
  if [[ $cursor = -* && $REPLY != FILE && $REPLY != DIR ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_invscan_options "${_invscan_command:-scan}")" -- "$cursor")
    return
  fi
  compopt -o filenames  # has the shell quote what is taken
  case $REPLY in
    FILE) mapfile -t COMPREPLY < <(compgen -f -- "$cursor") ;;
    DIR) mapfile -t COMPREPLY < <(compgen -d -- "$cursor") ;;
    *)
      while read -r word; do
        [[ ${word,,} != "${cursor,,}"* ]] || COMPREPLY+=("$word")
      done < <(_invscan_candidates)
      ;;
  esac
}
complete -F _invscan invscan
)shell";

constexpr char kZsh[] = R"shell(_invscan() {
  local REPLY _invscan_command _invscan_group word
  local -a before candidates
  for word in "${(@)words[2,CURRENT-1]}"; do before+=("${(Q)word}"); done
  if [[ $PREFIX == --*=* ]]; then
    before+=("${PREFIX%%=*}")
    compset -P '*='
  fi
  _invscan_place "${before[@]}"
  case $REPLY in
    FILE) _files ;;
    DIR) _files -/ ;;
    *)
      if [[ $PREFIX == -* ]]; then
        candidates=("${(@f)$(_invscan_options "${_invscan_command:-scan}")}")
      else
        candidates=("${(@f)$(_invscan_candidates)}")
      fi
      compadd -M 'm:{a-zA-Z}={A-Za-z}' -- "${(@)candidates:#}"
      ;;
  esac
}

if [ "$funcstack[1]" = _invscan ]; then _invscan "$@"; else compdef _invscan invscan; fi
)shell";

constexpr char kFish[] =
    R"shell(# Tells what the cursor stands at: the kind, the command, the group before an attribute.
function _invscan_place
  set -l words (commandline -opc)
  set -l option ''
  set -l place -1
  set -l command ''
  set -l group ''
  for word in $words[2..-1]
    if test -n "$option"
      set option ''
    else if test -n "$(_invscan_value "$word")"
      set option $word
    else if not string match -q -- '-*' $word
      if test $place -lt 0
        set place 0
        if contains -- $word (_invscan_words COMMAND)
          set command $word
          continue
        end
      end
      set place (math $place + 1)
      test $place -eq 1; and set group (string lower -- $word)
    end
  end
  set -l attached (string match -r -- '^(--[^=]*)=' (commandline -ct))
  set -q attached[2]; and set option $attached[2]
  set -l kind START
  if test -n "$option"
    set kind (_invscan_value $option)
  else if test $place -ge 0
    set kind ''
    set -l last ''
    for word in (_invscan_arguments (test -n "$command"; and echo $command; or echo scan))
      if test $word = ...
        test $place -ge 0; and set kind $last
        break
      end
      test $place -eq 0; and set kind $word
      set place (math $place - 1)
      set last $word
    end
  end
  printf '%s\n' "$kind" (test -n "$command"; and echo $command; or echo scan) "$group"
end

function _invscan_candidates
  set -l place (_invscan_place)
  switch "$place[1]"
    case START
      _invscan_words COMMAND
      _invscan_words GROUP
    case ATTRIBUTE
      _invscan_attributes "$place[3]"
    case FORMAT
      _invscan_formats $place[2]
    case FILE
      __fish_complete_path (commandline -ct)
    case DIR
      __fish_complete_directories (commandline -ct)
    case '*|*'
      string split '|' -- $place[1]
    case '*'
      _invscan_words "$place[1]"
  end
end

function _invscan_allows
  set -l place (_invscan_place)
  contains -- $argv[1] (_invscan_options $place[2])
end

complete -c invscan -f -a '(_invscan_candidates)'
)shell";

std::string head(const char* first) {
  return std::string(first) +
         "# Completion of invscan's command lines, made from its own tables.\n\n";
}

std::string fishOptions() {
  std::string text;
  for (const Option& option : agent::optionTable()) {
    const std::string name = option.name;
    text += "complete -c invscan -n '_invscan_allows --" + name + "' -l " + name +
            (option.value ? " -x -a '(_invscan_candidates)'" : "") + " -d " + quoted(option.help) +
            "\n";
  }
  return text;
}

}  // namespace

std::string bashCompletion(const Source&) {
  return head("") + Tables(kPosix).text() + kPosixPlace + kBash;
}

std::string zshCompletion(const Source&) {
  return head("#compdef invscan\n") + Tables(kPosix).text() + kPosixPlace + kZsh;
}

std::string fishCompletion(const Source&) {
  return head("") + Tables(kFishDialect).text() + kFish + fishOptions();
}

}  // namespace invscan::manual
