#include "session.h"

#include <unistd.h>

#include <cstdio>
#include <optional>

#include "host_process.h"
#include "line_input.h"
#include "purchase_question.h"
#include "shop.h"

namespace storefront {

namespace {

/// How long the script thinks about the question: long enough to see the loop run meanwhile.
constexpr unsigned int kThinkingMs = 300;

bool RunStep(Shop& shop, const Step& step) {
  std::printf("\n> %s\n", step.word.c_str());
  switch (step.action) {
    case Action::kPrice:
      return shop.AskPrice();
    case Action::kBuy:
    case Action::kBuyNo:
      return shop.Buy();
    case Action::kRestore:
      return shop.Restore();
    case Action::kApprove:
    case Action::kDecline:
      return shop.DecideDeferred(step.action == Action::kApprove);
    case Action::kPause:
      return shop.Pause(step.ms);
    case Action::kQuit:
      break;
  }
  return true;
}

void Prompt(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

/// Answers the question as the script says, after a while, as a person would.
bool AskScript(HostProcess& process, const std::string& question, bool yes) {
  Prompt("  " + question + " [y/n] ");
  // A wait inside of the wait of TillvanePurchaseApplication; the host stays as alive as before.
  process.ProcessWaitAndProcessEvents(kThinkingMs);
  std::puts(process.IsToStop() ? "" : yes ? "y" : "n");
  return yes;
}

/// Asks until the answer is one. The end of input and Ctrl-C are no.
bool AskKeyboard(HostProcess& process, LineInput& input, const std::string& question) {
  // Nobody pays by a key that was pressed before the question was there.
  input.DropTypedAhead();
  Prompt("  " + question + " [y/n] ");
  for (;;) {
    const std::optional<std::string> line = input.ReadLine(process);
    if (!line) {
      std::puts("");
      return false;
    }
    if (*line == "y" || *line == "yes") return true;
    if (*line == "n" || *line == "no") return false;
    Prompt("  Please answer y or n: ");
  }
}

/// \return false when the session is over
bool RunChoice(Shop& shop, const std::string& choice) {
  if (choice == "p" || choice == "price") {
    shop.AskPrice();
  } else if (choice == "b" || choice == "buy") {
    shop.Buy();
  } else if (choice == "r" || choice == "restore") {
    shop.Restore();
  } else if (choice == "q" || choice == "quit") {
    return false;
  } else if (!choice.empty()) {
    std::printf("  There is no '%s' here.\n", choice.c_str());
  }
  return true;
}

}  // namespace

bool RunScript(HostProcess& process, ProgressLine& progress, const std::string& base, const std::vector<Step>& steps) {
  bool yes = true;
  const PurchaseQuestion question(process, [&](const std::string& text) { return AskScript(process, text, yes); });
  Shop shop(process, progress, base);
  bool good = true;
  for (const Step& step : steps) {
    if (process.IsToStop() || step.action == Action::kQuit) break;
    yes = step.action != Action::kBuyNo;
    good = RunStep(shop, step) && good;
  }
  return good;
}

void RunMenu(HostProcess& process, ProgressLine& progress, const std::string& base) {
  LineInput input(STDIN_FILENO);
  const PurchaseQuestion question(process, [&](const std::string& text) { return AskKeyboard(process, input, text); });
  Shop shop(process, progress, base);
  for (bool open = true; open && !process.IsToStop();) {
    Prompt("\n" + base + ".paid: " + shop.PriceText() + "\n[p]rice, [b]uy, [r]estore, [q]uit> ");
    const std::optional<std::string> choice = input.ReadLine(process);
    // The prompt's line is still open when no line came.
    if (!choice) std::puts("");
    open = choice && RunChoice(shop, *choice);
  }
}

}  // namespace storefront
