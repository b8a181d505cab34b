#pragma once

#include <string>
#include <vector>

namespace commands {

/// A command that is but a program and its arguments, so that no shell is needed to read it.
///
/// That is one that every shell would take word by word as it stands:
///   - its characters are letters, digits and % + , - . / : = @ _ between blanks and tabs; no other is safe from
///     expansions, quotes, redirections, comments and operators
///   - its first word begins with a letter, a digit, '.', '/' or '_' ('-' and '+' would be an option of the shell's),
///     and has no '=': that would be an assignment
///   - its first word is no builtin, reserved word or alias of a shell's own (see kShellsOwn), unless it has a '/'
/// and nothing around it makes the shell behave in a way of its own:
///   - $PATH is there, since shells have several ideas of what it is otherwise, and has neither '%' nor '~', which some
///     of them read
///   - no environment variable has a name that is none to a shell, which would drop it or take it for a function, nor
///     one that shells set or follow: ENV, SHELLOPTS and their like
///   - $PWD is the current folder, without detours: a shell would correct it, and tell the program
///
/// What differs even so: a shell that waits for the program instead of becoming it says on standard error which signal
/// has ended it, and bash counts in SHLVL, sets $_ and forgets an OLDPWD that is no folder.
///
/// What is left is a program that the shell would look for in $PATH and run in its own place. One that cannot be run, a
/// file that is missing, forbidden or a script without "#!", stays the shell's, which has words and exit codes for it.
class PlainCommand {
 public:
  explicit PlainCommand(const char* command);

  /// False when a shell has to read it.
  bool IsPlain() const { return !words_.empty(); }
  /// The words, then a null. They are valid as long as this is.
  char* const* Words() const { return words_.data(); }

 private:
  std::string text_;
  std::vector<char*> words_;
};

}  // namespace commands
