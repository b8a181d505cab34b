#pragma once

namespace toolkit {

inline constexpr int kDone = 0, kNothing = 1, kWrongUse = 2, kCancelled = 130;

// Each gets its own arguments, `arguments[count]` is null. \return the exit status; kWrongUse when they make no sense

/// path split PATH, path absolute BASE PATH, path relative BASE TARGET, path match PATTERN NAME...
int PathCommand(int count, char** arguments);

/// ps, ps NAME
int PsCommand(int count, char** arguments);

/// run COMMAND
int RunCommand(int count, char** arguments);

/// sudo TOOL [ARGUMENT...]
int SudoCommand(int count, char** arguments);

/// locale
int LocaleCommand(int count, char** arguments);

}  // namespace toolkit
