// The GTK example, with a display and a session bus of its own: the test presses its buttons and reads its words
// through the actions that the application offers on the bus.

#include <signal.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/display.h>
#include <tests/support/message_bus.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using testing::HasSubstr;

constexpr unsigned int kEndMs = 60000;
constexpr int kLookMs = 20;
constexpr const char* kDefers = R"("_askToBuyEnabled": true)";

/// Asks again and again: each question is a process of its own, which a busy machine takes its time for.
template <class Condition>
bool Await(const Condition& condition) {
  const support::Stopwatch watch;
  while (!condition()) {
    if (watch.Ms() > kEndMs) return false;
    support::SleepMs(kLookMs);
  }
  return true;
}

class GtkExample : public testing::Test {
 protected:
  void SetUp() override {
    if (bus_.IsMissing()) GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_NE(bus_.Address(), "") << bus_.Errors();
    if (display_.Name().empty()) GTEST_SKIP() << "Xvfb is not installed, or did not start";
    if (support::RunProcess({"/usr/bin/env", "gdbus", "help"}, kEndMs).exit_code != 0) {
      GTEST_SKIP() << "gdbus is not installed";
    }
  }

  void TearDown() override {
    if (host_ != nullptr) {
      host_->WaitForEnd(0);
      EXPECT_THAT(host_->Errors(), testing::Not(HasSubstr("CRITICAL")));
    }
  }

  void Start(const std::string& settings = "") {
    const std::string catalogue =
        R"({"products": [{"productID": "org.example.storefront.paid", "displayPrice": "4.99",)"
        R"( "type": "NonConsumable"}], "settings": {)" +
        settings + "}}";
    // The desktop's libraries keep memory that they never free.
    const std::vector<std::string> environment = {"DISPLAY=" + display_.Name(),
                                                  "DBUS_SESSION_BUS_ADDRESS=" + bus_.Address(),
                                                  "GDK_BACKEND=x11",
                                                  "GSK_RENDERER=cairo",
                                                  "GTK_A11Y=none",
                                                  "GSETTINGS_BACKEND=memory",
                                                  "ASAN_OPTIONS=detect_leaks=0",
                                                  "LC_ALL=C.UTF-8",
                                                  "HOME=" + folder_.Path(),
                                                  "XDG_DATA_HOME=" + folder_.File("data"),
                                                  "XDG_CONFIG_HOME=" + folder_.File("config"),
                                                  "XDG_CACHE_HOME=" + folder_.File("cache"),
                                                  "XDG_RUNTIME_DIR=" + folder_.Path(),
                                                  "TILLVANE_STORE_CATALOG=" + folder_.Write("shop.storekit", catalogue),
                                                  "TILLVANE_STORE_LEDGER=" + folder_.File("ledger"),
                                                  "TILLVANE_STORE_LOCALE=",
                                                  "TILLVANE_STORE_STOREFRONT=",
                                                  "TILLVANE_STORE_PAYMENTS="};
    host_ = std::make_unique<ChildProcess>(std::vector<std::string>{TILLVANE_TEST_GTK_EXAMPLE}, environment);
  }

  /// Starts it, and waits until it has asked for the price.
  void StartWithPrice(const std::string& settings = "") {
    Start(settings);
    ASSERT_TRUE(WaitForWords("The price is $4.99.")) << Words() << host_->Errors();
    ASSERT_TRUE(WaitUntilEnabled("buy"));
  }

  std::string Call(const std::string& method, const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {"/usr/bin/env",
                                        "gdbus",
                                        "call",
                                        "--address",
                                        bus_.Address(),
                                        "--dest",
                                        "org.example.storefront",
                                        "--object-path",
                                        "/org/example/storefront",
                                        "--method",
                                        "org.gtk.Actions." + method};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return support::RunProcess(command, kEndMs).output;
  }

  /// Presses the button of an action.
  void Press(const std::string& action) const { EXPECT_EQ(Call("Activate", {action, "[]", "{}"}), "()\n") << action; }

  /// What stands in the window: "((true, signature '', [<'words'>]),)".
  std::string Describe(const std::string& action) const { return Call("Describe", {action}); }
  std::string Words() const { return Describe("words"); }
  int Number(const std::string& action) const {
    const std::string text = Describe(action);
    const std::size_t at = text.find("[<");
    return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + 2);
  }
  bool IsEnabled(const std::string& action) const { return Describe(action).starts_with("((true"); }

  bool WaitForWords(const std::string& words) const {
    return Await([&] { return Words().find("<'" + words + "'>") != std::string::npos; });
  }
  bool WaitUntilEnabled(const std::string& action) const {
    return Await([&] { return IsEnabled(action); });
  }
  /// The number becomes larger than it was.
  bool Rises(const std::string& number) const {
    const int before = Number(number);
    return before >= 0 && Await([&] { return Number(number) > before; });
  }

  void ExpectEnd() {
    ASSERT_TRUE(host_->WaitForEnd(kEndMs));
    EXPECT_EQ(host_->ExitCode(), 0) << host_->EndingSignal() << host_->Errors();
  }

  const support::TempFolder folder_;
  support::PrivateBus bus_{folder_};
  const support::Display display_{"800x700"};
  std::unique_ptr<ChildProcess> host_;
};

TEST_F(GtkExample, AsksBeforeItBuysAndStaysAlive) {
  StartWithPrice();
  EXPECT_FALSE(IsEnabled("accept")) << "nothing has been asked yet";
  EXPECT_FALSE(IsEnabled("cancel")) << "there is nothing to cancel";
  Press("count");
  Press("buy");
  ASSERT_TRUE(WaitUntilEnabled("accept")) << Words();
  EXPECT_FALSE(IsEnabled("buy")) << "one step at a time";
  // The store waits for the answer: frames are drawn, and the worker's reports arrive.
  EXPECT_TRUE(Rises("frames"));
  EXPECT_TRUE(Await([&] { return Number("progress") > 0; }));
  EXPECT_THAT(Words(), HasSubstr("Buying"));
#ifdef TILLVANE_TEST_PYTHON
  // A window was drawn, and not only a surface.
  const char* keep = std::getenv("TILLVANE_TEST_SCREENSHOT");
  const std::string picture = keep != nullptr ? keep : folder_.File("picture.png");
  const ProcessResult drawn =
      support::RunProcess({TILLVANE_TEST_PYTHON, TILLVANE_TEST_SCREEN_PICTURE, display_.Dump(), picture}, kEndMs);
  EXPECT_EQ(drawn.exit_code, 0) << drawn.errors;
  EXPECT_GT(std::atoi(drawn.output.c_str() + drawn.output.rfind(',') + 1), 20) << drawn.output;
#endif
  Press("accept");
  EXPECT_TRUE(WaitForWords("Bought: the application is unlocked.")) << Words();
  EXPECT_FALSE(IsEnabled("accept"));
  EXPECT_TRUE(WaitUntilEnabled("buy"));
  // The thread's end enables it again, in GTK's own loop.
  EXPECT_TRUE(WaitUntilEnabled("count"));
  EXPECT_EQ(Number("progress"), 100);
  host_->Signal(SIGTERM);
  ExpectEnd();
}

TEST_F(GtkExample, BuysNothingThatIsDeclined) {
  StartWithPrice();
  Press("buy");
  ASSERT_TRUE(WaitUntilEnabled("decline"));
  Press("decline");
  EXPECT_TRUE(WaitForWords("Not bought: the purchase was declined.")) << Words();
  ASSERT_TRUE(WaitUntilEnabled("restore"));
  Press("restore");
  EXPECT_TRUE(WaitForWords("Not restored: there is no earlier purchase.")) << Words();
}

TEST_F(GtkExample, RestoresWhatWasBought) {
  StartWithPrice();
  Press("buy");
  ASSERT_TRUE(WaitUntilEnabled("accept"));
  Press("accept");
  ASSERT_TRUE(WaitForWords("Bought: the application is unlocked.")) << Words();
  ASSERT_TRUE(WaitUntilEnabled("restore"));
  Press("restore");
  EXPECT_TRUE(WaitForWords("Restored: the application is unlocked.")) << Words();
}

TEST_F(GtkExample, CancelsTheQuestion) {
  StartWithPrice();
  Press("buy");
  ASSERT_TRUE(WaitUntilEnabled("accept"));
  Press("cancel");
  EXPECT_TRUE(WaitForWords("Stopped waiting for the purchase.")) << Words();
  EXPECT_FALSE(IsEnabled("accept"));
}

// Somebody else has to approve: until then the purchase would wait for a minute.
TEST_F(GtkExample, CancelsAPurchaseThatWaits) {
  StartWithPrice(kDefers);
  Press("buy");
  ASSERT_TRUE(WaitUntilEnabled("accept"));
  Press("accept");
  ASSERT_TRUE(Await([&] { return !IsEnabled("accept"); }));
  EXPECT_TRUE(Rises("frames"));
  EXPECT_THAT(Words(), HasSubstr("Buying"));
  Press("cancel");
  EXPECT_TRUE(WaitForWords("Stopped waiting for the purchase.")) << Words();
  EXPECT_TRUE(WaitUntilEnabled("buy"));
}

// What the window waits for ends before the window does, and a thread that works ends too.
TEST_F(GtkExample, ClosesWhileItWaits) {
  StartWithPrice();
  Press("count");
  Press("buy");
  ASSERT_TRUE(WaitUntilEnabled("accept"));
  host_->Signal(SIGTERM);
  ExpectEnd();
}

}  // namespace
