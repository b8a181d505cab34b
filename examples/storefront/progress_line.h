#pragma once

#include <glib.h>

#include <string>

namespace storefront {

/// Shows that the host stays alive while it waits.
///
/// A timer of the host's own, a plain GLib source that knows nothing of the library, ticks during each wait. On a
/// terminal it moves one line; elsewhere a long wait is announced once, and no control character is written. At the end
/// of a step the measured times are printed either way. Main thread only.
class ProgressLine {
 public:
  ProgressLine();
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Starts to measure a step; its waits are drawn with this title, which must outlive the step.
  void BeginStep(const char* title);

  /// Prints what the step's waits took.
  void EndStep();

  /// Did the present step wait at all?
  bool HasWaited() const { return has_waited_; }

  /// Brackets one wait. \param ms its limit, kNoLimit for none
  void BeginWait(unsigned int ms);
  void EndWait();

  /// Makes room for a question, whose time does not count against the wait's limit.
  void Hide();
  void Show();

  static constexpr unsigned int kNoLimit = 0xFFFFFFFF;

 private:
  static gboolean Tick(gpointer self);
  void Draw() const;
  std::string Limit() const;
  void Erase() const;

  const bool is_terminal_;
  const char* title_ = "";
  bool has_waited_ = false;
  unsigned int ticks_ = 0;
  gint64 waited_us_ = 0;

  int depth_ = 0;  ///< of waits inside of each other: a call-back may wait too
  bool hidden_ = false;
  guint timer_ = 0;
  gint64 wait_began_us_ = 0;
  gint64 hidden_since_us_ = 0;
  gint64 wait_ends_us_ = 0;  ///< 0 for never
};

}  // namespace storefront
