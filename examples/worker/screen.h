#pragma once

#include <tillvane/tillvane.h>

#include <string>

namespace worker {

/// Where the workers' reports end: on the main thread, as lines or, on a terminal, as one line that moves.
class Screen : public LProcessInterfaceVoid {
 public:
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  void SetError(const char* text) override;
  /// \param value 0; other texts are not shown
  void SetStatus(const char* text, int value) override;
  void SetProgress(double fraction) override;

  /// Takes the moving line away.
  void Clear();

 private:
  void Draw() const;

  const bool is_terminal_;
  std::string status_;
  int percent_ = 0;
};

}  // namespace worker
