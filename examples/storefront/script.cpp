#include "script.h"

#include <charconv>
#include <iterator>
#include <sstream>
#include <string_view>

namespace storefront {

namespace {

struct Word {
  std::string_view text;
  Action action;
};

constexpr Word kWords[] = {
    {"price", Action::kPrice},     {"buy", Action::kBuy},         {"buy-no", Action::kBuyNo},
    {"restore", Action::kRestore}, {"approve", Action::kApprove}, {"decline", Action::kDecline},
    {"quit", Action::kQuit},
};

constexpr std::string_view kPausePrefix = "pause:";
constexpr unsigned int kLongestPauseMs = 3'600'000;

bool ParsePause(std::string_view word, Step* step, std::string* error) {
  const std::string_view digits = word.substr(kPausePrefix.size());
  const char* const end = digits.data() + digits.size();
  step->action = Action::kPause;
  const auto [stop, code] = std::from_chars(digits.data(), end, step->ms);
  if (code == std::errc() && stop == end && step->ms <= kLongestPauseMs) return true;
  *error = '\'' + std::string(word) + "' should be pause: and 0 to 3600000 milliseconds, such as pause:500";
  return false;
}

bool ParseWord(const std::string& word, Step* step, std::string* error) {
  step->word = word;
  if (word.starts_with(kPausePrefix)) return ParsePause(word, step, error);
  for (const Word& known : kWords) {
    if (word != known.text) continue;
    step->action = known.action;
    return true;
  }
  *error = "there is no word '" + word + "'; the words are";
  for (const Word& known : kWords) error->append(" ").append(known.text);
  error->append(" pause:MS");
  return false;
}

}  // namespace

bool ParseScript(const std::string& text, std::vector<Step>* steps, std::string* error) {
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    Step& step = steps->emplace_back();
    if (!ParseWord(word, &step, error)) return false;
  }
  if (steps->empty()) *error = "there is no word in it; try 'price buy quit'";
  return !steps->empty();
}

}  // namespace storefront
