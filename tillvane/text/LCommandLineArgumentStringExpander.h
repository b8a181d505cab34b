#pragma once

#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// A command line, argument by argument.

/// Splits a command line into its arguments, one after the other. Not synchronised.
///
///     before an argument  characters 1-32 are skipped
///     space               ends it, but between quotes
///     "                   opens quotes; the next one closes them and ends the argument there, so that what follows
///                         at once is the next one. Quotes are not kept
///     \ and a space       a space, also between quotes; any other \ stands for itself
///     all else            is kept, tabs too
///
/// The end of the line ends everything.
class TILLVANE_API LCommandLineArgumentStringExpander {
 public:
  /// Reads from `commandLine`, which has to stay as it is meanwhile. Null is an empty line.
  explicit LCommandLineArgumentStringExpander(const char* commandLine);

  /// Reads the next argument. Without memory it throws std::bad_alloc and has read nothing; GetArgument() may then give
  /// a part of it.
  /// \return whether it is not empty: at the end of the line it is, but `""` is an empty argument too
  bool NextArgument();

  /// The argument that was read last, empty before the first. Valid until the next one is read.
  const char* GetArgument() const { return argument_.c_str(); }

  /// Counts the arguments of another line behind the first, the program's name, up to the first that is empty.
  unsigned long GetArgumentCount(const char* commandLine) const;

 private:
  friend struct LCommandLineArgumentStringExpanderLayout;

  const char* cursor_;
  LStringLong argument_;
};
