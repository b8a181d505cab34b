// What a host does at its very end, and in a process that it forked.

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace {

class LibraryEnd : public testing::Test {
 protected:
  support::ProcessResult Leave(const std::string& way) {
    const std::string catalogue =
        folder_.Write("Products.storekit", R"({"products":[{"productID":"org.example.storefront.paid",)"
                                           R"("displayPrice":"4.99","type":"NonConsumable"}]})");
    return support::RunProcess(
        {TILLVANE_TEST_HELPER, way}, 20000,
        {"TILLVANE_STORE_CATALOG=" + catalogue, "TILLVANE_STORE_LEDGER=" + folder_.File("ledger"),
         "TILLVANE_STORE_LOCALE=", "TILLVANE_STORE_STOREFRONT="});
  }

  support::TempFolder folder_;
};

TEST_F(LibraryEnd, AGlobalBridgeMayEndAfterTheStore) {
  const support::ProcessResult host = Leave("global");
  EXPECT_EQ(host.exit_code, 0) << host.errors;
  EXPECT_EQ(host.output, "destroyed\n");
}

TEST_F(LibraryEnd, AnExitHandlerMayStillWait) {
  const support::ProcessResult host = Leave("atexit");
  EXPECT_EQ(host.exit_code, 0) << host.errors;
  EXPECT_EQ(host.output, "waited 0\n");
}

TEST_F(LibraryEnd, AForkedProcessMayLeave) {
  const support::ProcessResult host = Leave("fork-exit");
  EXPECT_TRUE(host.ended);
  EXPECT_EQ(host.exit_code, 0) << host.errors;
}

TEST_F(LibraryEnd, AForkedProcessGetsAnswersOfItsOwn) {
  const support::ProcessResult host = Leave("fork-price");
  EXPECT_EQ(host.exit_code, 0) << host.errors;
  EXPECT_EQ(host.output, "price $4.99\n");
}

}  // namespace
