// The Qt example without a display, with GLib's loop under it and with Qt's own: see qt_example_driver.cpp.

#include <string>
#include <tuple>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace {

using support::ProcessResult;
using testing::HasSubstr;
using testing::Not;

constexpr unsigned int kEndMs = 250000;

class QtExample : public testing::TestWithParam<std::tuple<std::string, bool>> {};

TEST_P(QtExample, Sells) {
  const auto& [scenario, with_glib] = GetParam();
  const support::TempFolder folder;
  const bool defers = scenario.find("deferred") != std::string::npos;
  const std::string catalogue =
      R"({"products": [{"productID": "org.example.storefront.paid", "displayPrice": "4.99", "type": "NonConsumable"}],)"
      R"( "settings": {"_askToBuyEnabled": )" +
      std::string(defers ? "true" : "false") + "}}";
  // Qt asks whether the variable is empty. The desktop's libraries keep memory that they never free.
  const ProcessResult result = support::RunProcess(
      {TILLVANE_TEST_QT_EXAMPLE_DRIVER, scenario}, kEndMs,
      {"QT_QPA_PLATFORM=offscreen", std::string("QT_NO_GLIB=") + (with_glib ? "" : "1"), "LC_ALL=C.UTF-8",
       "ASAN_OPTIONS=detect_leaks=0", "HOME=" + folder.Path(), "XDG_DATA_HOME=" + folder.File("data"),
       "XDG_CONFIG_HOME=" + folder.File("config"), "XDG_CACHE_HOME=" + folder.File("cache"),
       "XDG_RUNTIME_DIR=" + folder.Path(), "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder.File("none"),
       "TILLVANE_STORE_CATALOG=" + folder.Write("shop.storekit", catalogue),
       "TILLVANE_STORE_LEDGER=" + folder.File("ledger"),
       "TILLVANE_STORE_LOCALE=", "TILLVANE_STORE_STOREFRONT=", "TILLVANE_STORE_PAYMENTS="});
  ASSERT_TRUE(result.ended) << result.output << result.errors;
  EXPECT_EQ(result.exit_code, 0) << "signal " << result.signal << ": " << result.errors;
  EXPECT_THAT(result.output, HasSubstr("\ndone\n"));
  // Where Qt was built without GLib, both are the same.
  if (!with_glib) {
    EXPECT_THAT(result.output, Not(HasSubstr("Glib")));
  }
}

INSTANTIATE_TEST_SUITE_P(Loops, QtExample,
                         testing::Combine(testing::Values("waits", "buy", "decline", "cancel-question",
                                                          "cancel-deferred", "quit-idle", "quit-question",
                                                          "quit-deferred"),
                                          testing::Bool()),
                         [](const auto& info) {
                           std::string name = std::get<0>(info.param);
                           for (char& c : name) c = c == '-' ? '_' : c;
                           return name + (std::get<1>(info.param) ? "_glib" : "_qt");
                         });

}  // namespace
