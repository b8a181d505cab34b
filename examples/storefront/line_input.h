#pragma once

#include <glib.h>
#include <tillvane/tillvane.h>

#include <optional>
#include <string>

namespace storefront {

/// Lines from the keyboard (or a file, or a pipe), read without ever blocking the main loop. Main thread only.
class LineInput {
 public:
  /// \param descriptor stays the caller's
  explicit LineInput(int descriptor) : descriptor_(descriptor) {}

  /// Waits for a line while the main loop runs.
  /// \return the line without its end; nothing at the end of input, or when `loop` was stopped
  std::optional<std::string> ReadLine(LProcessEventsHandler& loop);

  /// Forgets what somebody at a terminal typed before seeing the question. Input from elsewhere is kept.
  void DropTypedAhead();

 private:
  static gboolean Readable(gint descriptor, GIOCondition condition, gpointer self);
  bool WaitForMore(LProcessEventsHandler& loop);
  void Receive();
  std::optional<std::string> TakeLine();

  const int descriptor_;
  LSignalObject arrived_;
  std::string pending_;
  bool watched_ = false;
  bool ended_ = false;
};

}  // namespace storefront
