#pragma once

#include <string>
#include <vector>

namespace storefront {

enum class Action { kPrice, kBuy, kBuyNo, kRestore, kApprove, kDecline, kPause, kQuit };

struct Step {
  Action action;
  std::string word;     ///< as it was written
  unsigned int ms = 0;  ///< of a pause
};

/// Reads the words of --script.
/// \return false with a message in `error`
bool ParseScript(const std::string& text, std::vector<Step>* steps, std::string* error);

}  // namespace storefront
