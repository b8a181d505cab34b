#pragma once

#include <functional>
#include <string>
#include <vector>

#include <tillvane/core/LProcessInterface.h>

namespace support {

/// Keeps everything that an operation reports and asks, in its order, a line each.
class ReportRecorder : public LProcessInterfaceVoid {
 public:
  bool IsToStop() override {
    lines.push_back("stop?");
    ++asked;
    if (on_question) on_question(asked);
    return asked == stop_at;
  }
  void SetError(const char* text) override { lines.push_back(std::string("error ") + text); }
  void SetStatus(const char* text, int value) override {
    lines.push_back("status " + std::to_string(value) + ' ' + text);
  }
  void SetProgress(double fraction) override {
    lines.push_back("progress");
    progress.push_back(fraction);
  }
  void SetProgressIndeterminateOn() override { lines.push_back("indeterminate"); }
  void SetProgressIndeterminateOff() override { lines.push_back("determinate"); }

  int stop_at = 0;  ///< which question is answered with yes; 0 for none
  std::function<void(int asked)> on_question;

  int asked = 0;
  std::vector<std::string> lines;
  std::vector<double> progress;
};

}  // namespace support
