// The storefront example, as its user runs it, on the local store.

#include <signal.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/process/terminal_child.h>
#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using support::TerminalChild;
using testing::HasSubstr;
using testing::Not;

/// Far more than anything here takes, but for the minute that a price may take.
constexpr unsigned int kEndMs = 50000;

constexpr const char* kFails = R"("_failTransactionsEnabled": true)";
constexpr const char* kDefers = R"("_askToBuyEnabled": true)";

/// One user of the storefront: a catalogue, a ledger and a home of their own.
class StorefrontTest : public testing::Test {
 protected:
  void WriteCatalogue(const std::string& settings = "") const {
    constexpr const char* product =
        R"({"productID": "org.example.storefront.paid", "displayPrice": "4.99", "type": "NonConsumable"})";
    folder_.Write("catalogue.storekit",
                  std::string(R"({"products": [)") + product + R"(], "settings": {)" + settings + "}}");
  }

  std::vector<std::string> Command(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {TILLVANE_TEST_STOREFRONT, "--ledger", folder_.File("ledger"), "--catalogue",
                                        folder_.File("catalogue.storekit")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
  }

  /// Nothing of the one who runs the tests shows.
  std::vector<std::string> Environment() const {
    return {"LC_ALL=C",
            "TERM=xterm",
            "HOME=" + folder_.Path(),
            "XDG_DATA_HOME=" + folder_.Path(),
            "TMPDIR=" + folder_.Path(),
            "LOGNAME=somebody",
            "TILLVANE_STORE_CATALOG=",
            "TILLVANE_STORE_LEDGER=",
            "TILLVANE_STORE_LOCALE=",
            "TILLVANE_STORE_STOREFRONT=",
            "TILLVANE_STORE_PAYMENTS="};
  }

  ProcessResult Run(const std::vector<std::string>& arguments) const {
    return support::RunProcess(Command(arguments), kEndMs, Environment());
  }
  ProcessResult RunScript(const std::string& words) const { return Run({"--script", words}); }

  /// A session at the keyboard whose keyboard is a pipe.
  ProcessResult RunPiped(const std::string& lines) const {
    std::string line = "printf '" + lines + "' | exec";
    for (const std::string& word : Command({})) line += " '" + word + "'";
    return support::RunProcess({"/bin/sh", "-c", line}, kEndMs, Environment());
  }

  const support::TempFolder folder_;
};

/// The number of ticks that each step of an output reports, 0 for one without a wait or too short for a tick.
std::vector<int> TicksOfSteps(const std::string& output) {
  static const std::regex line("  (?:waited [0-9.]+ s, ([0-9]+) ticks?|waited [0-9]+ ms:|answered at once).*\n");
  std::vector<int> ticks;
  for (std::sregex_iterator i(output.begin(), output.end(), line), end; i != end; ++i) {
    ticks.push_back((*i)[1].matched ? std::stoi((*i)[1]) : 0);
  }
  return ticks;
}

/// Do these texts stand in the output, in this order?
testing::AssertionResult HasInOrder(const std::string& output, const std::vector<std::string>& texts) {
  std::size_t at = 0;
  for (const std::string& text : texts) {
    at = output.find(text, at);
    if (at == std::string::npos) return testing::AssertionFailure() << '"' << text << "\" is missing in:\n" << output;
    at += text.size();
  }
  return testing::AssertionSuccess();
}

TEST_F(StorefrontTest, ShowsThePriceOfEachCountry) {
  WriteCatalogue();
  struct Case {
    const char *locale, *country, *price;
  };
  for (const Case& c : {Case{"en_US", "USA", "$4.99"}, Case{"de_DE", "DEU", "4,99\u00A0\u20AC"},
                        Case{"ja_JP", "JPN", "\uFFE55"}, Case{"ro_RO", "ROU", "4,99\u00A0RON"}}) {
    const ProcessResult result = Run({"--locale", c.locale, "--storefront", c.country, "--script", "price"});
    EXPECT_EQ(result.exit_code, 0) << c.locale;
    EXPECT_THAT(result.output, HasSubstr(std::string("  The price is ") + c.price + ".\n")) << c.locale;
    EXPECT_EQ(result.errors, "") << c.locale;
  }
}

TEST_F(StorefrontTest, SellsOnceAndRestores) {
  WriteCatalogue();
  const ProcessResult result = RunScript("price buy buy restore quit price");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_TRUE(HasInOrder(result.output, {"> price\n", "The price is $4.99.\n", "> buy\n",
                                         "Buy org.example.storefront.paid for $4.99? [y/n] y\n", "waited ",
                                         "Bought: the application is unlocked.\n", "> buy\n", "answered at once",
                                         "Bought already: nothing was charged again.\n", "> restore\n", "waited ",
                                         "Restored: the application is unlocked.\n"}));
  // Nothing is done after "quit", and nobody is asked twice.
  EXPECT_EQ(result.output.find("> price", result.output.find("> restore")), std::string::npos);
  EXPECT_EQ(result.output.find("[y/n]"), result.output.rfind("[y/n]"));
}

TEST_F(StorefrontTest, RestoresWhatAnEarlierRunBought) {
  WriteCatalogue();
  EXPECT_EQ(RunScript("price buy").exit_code, 0);
  EXPECT_THAT(RunScript("price restore").output, HasSubstr("  Restored: the application is unlocked.\n"));
}

TEST_F(StorefrontTest, CountsTicksWhileItWaits) {
  WriteCatalogue();
  const ProcessResult result = RunScript("price buy buy pause:300");
  const std::vector<int> ticks = TicksOfSteps(result.output);
  ASSERT_EQ(ticks.size(), 4U) << result.output;
  EXPECT_GT(ticks[1], 0) << result.output;
  EXPECT_EQ(ticks[2], 0) << result.output;
  EXPECT_GT(ticks[3], 0) << result.output;
}

TEST_F(StorefrontTest, WritesNoControlCharacterWithoutATerminal) {
  WriteCatalogue();
  const std::string output = RunScript("price buy pause:300").output;
  EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == '\n' || (byte >= 0x20 && byte != 0x7F);
  })) << output;
}

TEST_F(StorefrontTest, DeclinedPurchaseIsNoFailure) {
  WriteCatalogue();
  const ProcessResult result = RunScript("price buy-no restore");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_TRUE(HasInOrder(result.output, {"[y/n] n\n", "Not bought: the purchase was cancelled.\n", "> restore\n",
                                         "Not restored: there is no earlier purchase.\n"}));
}

TEST_F(StorefrontTest, EndsWithOneWhenAPurchaseFails) {
  struct Case {
    const char *settings, *script, *words;
  };
  for (const Case& c : {
           Case{"", "buy", "Not bought: no product is loaded, ask for the price first.\n"},
           Case{"", "restore", "Not restored: no product is loaded, ask for the price first.\n"},
           Case{kFails, "price buy", "Not bought: Purchase failed for unknown reasons.\n"},
           // What comes after a failure is still done, and does not hide it.
           Case{"", "buy price", "The price is $4.99.\n"},
       }) {
    WriteCatalogue(c.settings);
    const ProcessResult result = RunScript(c.script);
    EXPECT_EQ(result.exit_code, 1) << c.settings << ' ' << c.script;
    EXPECT_THAT(result.output, HasSubstr(c.words)) << c.settings << ' ' << c.script;
  }
}

TEST_F(StorefrontTest, SellsNothingToAUserWhoMayNotPay) {
  WriteCatalogue();
  const ProcessResult off = Run({"--payments", "off", "--script", "price buy"});
  EXPECT_EQ(off.exit_code, 1);
  EXPECT_THAT(off.output, HasSubstr("  Not bought: this user may not make payments.\n"));
  EXPECT_THAT(off.output, Not(HasSubstr("[y/n]")));
  EXPECT_EQ(Run({"--payments", "on", "--script", "price buy"}).exit_code, 0);
}

TEST_F(StorefrontTest, ApprovalComesInALaterRun) {
  struct Case {
    const char *word, *bought, *exits;
  };
  for (const Case& c : {Case{"approve", "Bought already: nothing was charged again.\n", "approved"},
                        Case{"decline", "Not bought: the purchase was cancelled.\n", "declined"}}) {
    WriteCatalogue(kDefers);
    ChildProcess child(Command({"--script", "price buy"}), Environment());
    ASSERT_TRUE(child.WaitForOutput("[y/n] y\n", kEndMs)) << c.word << child.Output();
    // The answer has been given to the store by now: it is kept, however soon the program ends.
    child.Signal(SIGINT);
    ASSERT_TRUE(child.WaitForEnd(kEndMs)) << c.word;
    EXPECT_EQ(child.ExitCode(), 130) << c.word << child.Output();
    WriteCatalogue();
    const ProcessResult later = RunScript(std::string("price ") + c.word + " buy-no");
    EXPECT_EQ(later.exit_code, 0) << c.word;
    EXPECT_TRUE(HasInOrder(later.output, {c.exits, c.bought})) << c.word;
  }
}

TEST_F(StorefrontTest, CtrlCEndsTheMinuteOfAnUnknownProduct) {
  WriteCatalogue();
  ChildProcess child(Command({"--base", "org.example.unknown", "--script", "price buy"}), Environment());
  ASSERT_TRUE(child.WaitForOutput(" s left, Ctrl-C stops\n", kEndMs)) << child.Output();
  const support::Stopwatch stopwatch;
  child.Signal(SIGINT);
  ASSERT_TRUE(child.WaitForEnd(kEndMs));
  EXPECT_LT(stopwatch.Ms(), support::kSoonMs);
  EXPECT_EQ(child.ExitCode(), 130);
  EXPECT_THAT(child.Output(), HasSubstr("  Stopped.\n"));
  EXPECT_THAT(child.Output(), Not(HasSubstr("> buy")));
  const std::vector<int> ticks = TicksOfSteps(child.Output());
  ASSERT_EQ(ticks.size(), 1U) << child.Output();
  EXPECT_GT(ticks[0], 0) << child.Output();
}

TEST_F(StorefrontTest, CtrlCDuringTheScriptedQuestionIsNo) {
  WriteCatalogue();
  // The script thinks for a moment only: a busy machine may have to try again.
  bool stopped = false;
  for (int attempt = 0; !stopped && attempt < 10; ++attempt) {
    ChildProcess child(Command({"--ledger", folder_.File(std::to_string(attempt)), "--script", "price buy"}),
                       Environment());
    ASSERT_TRUE(child.WaitForOutput("[y/n] ", kEndMs)) << child.Output();
    child.Signal(SIGINT);
    ASSERT_TRUE(child.WaitForEnd(kEndMs));
    stopped = child.Output().find("[y/n] \n") != std::string::npos;
    if (!stopped) continue;
    EXPECT_EQ(child.ExitCode(), 130) << child.Output();
    const ProcessResult later = Run({"--ledger", folder_.File(std::to_string(attempt)), "--script", "price restore"});
    EXPECT_THAT(later.output, HasSubstr("Not restored: "));
  }
  EXPECT_TRUE(stopped);
}

TEST_F(StorefrontTest, CtrlCEndsAPause) {
  WriteCatalogue();
  ChildProcess child(Command({"--script", "pause:3600000"}), Environment());
  ASSERT_TRUE(child.WaitForOutput("> pause:3600000\n", kEndMs));
  child.Signal(SIGINT);
  ASSERT_TRUE(child.WaitForEnd(kEndMs));
  EXPECT_EQ(child.ExitCode(), 130);
}

TEST_F(StorefrontTest, AnUncleanEndIsToldByTheNextRun) {
  WriteCatalogue();
  constexpr const char* greeting = "the last run ended uncleanly";
  for (int round = 0; round < 2; ++round) {
    // A run that has greeted is watched again.
    ChildProcess child(Command({"--script", "pause:3600000"}), Environment());
    ASSERT_TRUE(child.WaitForOutput("> pause:3600000\n", kEndMs));
    EXPECT_EQ(child.Output().find(greeting) != std::string::npos, round != 0) << child.Output();
    child.Signal(SIGKILL);
    ASSERT_TRUE(child.WaitForEnd(kEndMs));
  }
  EXPECT_THAT(RunScript("price").output, HasSubstr(greeting));
  EXPECT_THAT(RunScript("price").output, Not(HasSubstr(greeting)));
}

TEST_F(StorefrontTest, EveryOtherEndIsACleanOne) {
  WriteCatalogue();
  ChildProcess child(Command({"--script", "pause:3600000"}), Environment());
  ASSERT_TRUE(child.WaitForOutput("> pause:3600000\n", kEndMs));
  child.Signal(SIGINT);
  ASSERT_TRUE(child.WaitForEnd(kEndMs));
  EXPECT_THAT(RunScript("buy").output, Not(HasSubstr("uncleanly"))) << "after Ctrl-C";
  EXPECT_EQ(RunScript("buy").exit_code, 1);
  EXPECT_THAT(RunScript("price").output, Not(HasSubstr("uncleanly"))) << "after a failed step";
}

TEST_F(StorefrontTest, BrokenCatalogueIsOneLineThatNamesFileAndPlace) {
  const std::string path = folder_.Write("catalogue.storekit", "{\n  \"products\": [}\n");
  ChildProcess child(Command({"--script", "price"}), Environment());
  ASSERT_TRUE(child.WaitForOutput("> price\n", kEndMs));
  const support::Stopwatch stopwatch;
  while (child.Errors().empty() && stopwatch.Ms() < support::kLongMs) child.WaitForEnd(10);
  child.Signal(SIGINT);
  ASSERT_TRUE(child.WaitForEnd(kEndMs));
  EXPECT_EQ(child.ExitCode(), 130);
  EXPECT_THAT(child.Errors(), testing::StartsWith("tillvane: " + path + ":2:"));
  EXPECT_EQ(std::count(child.Errors().begin(), child.Errors().end(), '\n'), 1) << child.Errors();
}

TEST_F(StorefrontTest, WrongUseIsRefused) {
  WriteCatalogue();
  struct Case {
    std::vector<std::string> arguments;
    const char* complaint;
  };
  const std::vector<Case> cases = {
      {{"--bogus"}, "--bogus"},
      {{"-x"}, "-x"},
      {{"--script"}, "--script"},
      {{"--locale"}, "--locale"},
      {{"--locale", ""}, "--locale: the value is empty"},
      {{"--base", ""}, "--base: the value is empty"},
      {{"--payments", "maybe"}, "--payments: 'on' or 'off', not 'maybe'"},
      {{"--script", "price bye"}, "there is no word 'bye'"},
      {{"--script", ""}, "--script: the value is empty"},
      {{"--script", "  "}, "there is no word in it"},
      {{"--script", "pause"}, "there is no word 'pause'"},
      {{"--script", "pause:"}, "'pause:' should be"},
      {{"--script", "pause:-1"}, "'pause:-1' should be"},
      {{"--script", "pause:10s"}, "'pause:10s' should be"},
      {{"--script", "pause:3600001"}, "'pause:3600001' should be"},
      {{"--script", "pause:99999999999999999999"}, "should be pause:"},
      {{"--script", "price", "buy"}, "'buy' is not expected"},
      {{"--", "--script"}, "'--script' is not expected"},
  };
  for (const Case& c : cases) {
    const ProcessResult result = Run(c.arguments);
    EXPECT_EQ(result.exit_code, 2) << c.complaint;
    EXPECT_EQ(result.output, "") << c.complaint;
    EXPECT_THAT(result.errors, testing::StartsWith("storefront: ")) << c.complaint;
    EXPECT_THAT(result.errors, HasSubstr(c.complaint));
    EXPECT_THAT(result.errors, HasSubstr("--help")) << c.complaint;
  }
}

TEST_F(StorefrontTest, HelpNamesEveryFlagAndWord) {
  const ProcessResult result = Run({"--help"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(Run({"-h"}).output, result.output);
  for (const char* text : {"--catalogue=FILE", "--ledger=FOLDER", "--locale=LOCALE", "--storefront=ALPHA3",
                           "--payments=on|off", "--base=ID", "--script=WORDS", "price", "buy-no", "restore", "approve",
                           "decline", "pause:MS", "quit", "Examples:", "130"}) {
    EXPECT_THAT(result.output, HasSubstr(text));
  }
}

TEST_F(StorefrontTest, FindsTheCatalogueBesideItself) {
  const ProcessResult result = support::RunProcess(
      {TILLVANE_TEST_STOREFRONT, "--ledger", folder_.File("ledger"), "--script", "price"}, kEndMs, Environment());
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.output, HasSubstr("  The price is $4.99.\n"));
}

TEST_F(StorefrontTest, MenuTakesLinesFromAPipe) {
  WriteCatalogue();
  struct Case {
    const char* lines;
    std::vector<std::string> words;
  };
  const std::vector<Case> cases = {
      {"p\\nb\\ny\\nb\\nr\\nq\\n",
       {"no price yet", "The price is $4.99.", "paid: $4.99", "Bought: ", "Bought already: ", "Restored: "}},
      {"price\\nbuy\\nno\\nquit\\n", {"The price is", "Not bought: the purchase was cancelled."}},
      {"p\\nb\\nwhat\\nn\\n", {"Please answer y or n", "Not bought: the purchase was cancelled."}},
      // The end of input is no, and the end.
      {"p\\nb\\n", {"[y/n]", "Not bought: the purchase was cancelled."}},
      {"p\\nb\\nn", {"[y/n]", "Not bought: the purchase was cancelled."}},
      {"b\\n", {"Not bought: no product is loaded"}},
      {"x\\n\\n", {"There is no 'x' here."}},
      {"", {"[q]uit> "}},
  };
  for (const Case& c : cases) {
    const ProcessResult result = RunPiped(c.lines);
    EXPECT_EQ(result.exit_code, 0) << c.lines;
    EXPECT_TRUE(HasInOrder(result.output, c.words)) << c.lines;
  }
}

TEST_F(StorefrontTest, ClosedStandardDescriptorsAreNoTrouble) {
  WriteCatalogue();
  const std::string program = std::string("exec '") + TILLVANE_TEST_STOREFRONT + "' ";
  for (const char* rest : {"<&-", "--script price >&- 2>&-", "<&- >&- 2>&-"}) {
    const ProcessResult result = support::RunProcess({"/bin/sh", "-c", program + rest}, kEndMs, Environment());
    EXPECT_EQ(result.exit_code, 0) << rest;
  }
}

TEST_F(StorefrontTest, CutsALineThatNeverEnds) {
  WriteCatalogue();
  const ProcessResult result = support::RunProcess(
      {"/bin/sh", "-c", std::string("yes x | tr -d '\\n' | head -c 300000 | '") + TILLVANE_TEST_STOREFRONT + "'"},
      kEndMs, Environment());
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.output, HasSubstr("There is no 'xxx"));
  EXPECT_LT(result.output.size(), 3000U);
}

TEST_F(StorefrontTest, ProgressLineMovesAndCtrlCAtTheTerminalStops) {
  WriteCatalogue();
  TerminalChild child(Command({"--base", "org.example.unknown"}), Environment());
  ASSERT_TRUE(child.WaitFor("[q]uit> ", kEndMs)) << child.Screen();
  child.Type("p\n");
  ASSERT_TRUE(child.WaitFor("asking for the price", kEndMs)) << child.Screen();
  EXPECT_TRUE(child.WaitFor(" s left, Ctrl-C stops", kEndMs)) << child.Screen();
  // It is drawn over and over, in one place.
  EXPECT_TRUE(child.WaitFor("\r- asking for the price", kEndMs)) << child.Screen();
  EXPECT_TRUE(child.WaitFor("\r\\ asking for the price", kEndMs)) << child.Screen();
  const support::Stopwatch stopwatch;
  child.Type("\x03");
  EXPECT_EQ(child.WaitForEnd(kEndMs), 130) << child.Screen();
  EXPECT_LT(stopwatch.Ms(), support::kSoonMs);
  EXPECT_THAT(child.Screen(), HasSubstr("  Stopped.\r\n"));
}

TEST_F(StorefrontTest, CtrlCAtTheQuestionIsNo) {
  WriteCatalogue();
  TerminalChild child(Command({}), Environment());
  ASSERT_TRUE(child.WaitFor("[q]uit> ", kEndMs)) << child.Screen();
  child.Type("p\n");
  ASSERT_TRUE(child.WaitFor("The price is", kEndMs)) << child.Screen();
  child.Type("b\n");
  ASSERT_TRUE(child.WaitFor("[y/n] ", kEndMs)) << child.Screen();
  child.Type("\x03");
  EXPECT_EQ(child.WaitForEnd(kEndMs), 130) << child.Screen();
  EXPECT_THAT(RunScript("price restore").output, HasSubstr("Not restored: "));
}

TEST_F(StorefrontTest, CtrlCAtTheMenuEndsTheSession) {
  WriteCatalogue();
  TerminalChild child(Command({}), Environment());
  ASSERT_TRUE(child.WaitFor("[q]uit> ", kEndMs)) << child.Screen();
  child.Type("\x03");
  EXPECT_EQ(child.WaitForEnd(kEndMs), 130) << child.Screen();
}

TEST_F(StorefrontTest, KeysHitBeforeTheQuestionDoNotAnswerIt) {
  WriteCatalogue();
  TerminalChild child(Command({}), Environment());
  ASSERT_TRUE(child.WaitFor("[q]uit> ", kEndMs)) << child.Screen();
  child.Type("p\n");
  ASSERT_TRUE(child.WaitFor("The price is", kEndMs)) << child.Screen();
  ASSERT_TRUE(child.WaitFor("[q]uit> ", kEndMs)) << child.Screen();
  child.Type("b\ny\n");
  ASSERT_TRUE(child.WaitFor("[y/n] ", kEndMs)) << child.Screen();
  child.Type("n\n");
  EXPECT_TRUE(child.WaitFor("Not bought: the purchase was cancelled.", kEndMs)) << child.Screen();
  child.Type("q\n");
  EXPECT_EQ(child.WaitForEnd(kEndMs), 0) << child.Screen();
}

}  // namespace
