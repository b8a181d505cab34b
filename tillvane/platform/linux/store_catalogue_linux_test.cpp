#include <tillvane/platform/linux/store_catalogue_linux.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using platform::LoadStoreCatalogue;
using platform::ParseStoreCatalogue;
using platform::StoreCatalogue;

constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

/// Every field as text, so that two catalogues can be compared and shown.
std::string Described(const StoreCatalogue& catalogue) {
  std::string text;
  for (const auto& product : catalogue.products) {
    text += product.identifier + '=' + product.price + (product.non_consumable ? "! " : " ");
  }
  text += catalogue.locale + ' ' + catalogue.storefront;
  if (catalogue.products_request_fails) text += " products-fail";
  if (catalogue.purchase_fails) text += " purchase-fails";
  if (catalogue.ask_to_buy) text += " ask-to-buy";
  if (catalogue.disable_dialogs) text += " no-dialogs";
  return text;
}

StoreCatalogue SomeCatalogue() { return {{{"left.over", "1", true}}, "de_DE", "DEU", true, true, true, true}; }

/// What the catalogue of this text is, or the error.
std::string Read(std::string_view text) {
  StoreCatalogue catalogue = SomeCatalogue();
  std::string error = "untouched";
  if (ParseStoreCatalogue(text, "F", &catalogue, &error)) {
    EXPECT_EQ(error, "untouched") << text;
    return Described(catalogue);
  }
  EXPECT_EQ(Described(catalogue), Described({})) << text;
  return error;
}

struct Case {
  std::string_view text;
  std::string result;
};

void Check(const std::vector<Case>& cases) {
  for (const auto& c : cases) EXPECT_EQ(Read(c.text), c.result) << c.text;
}

TEST(StoreCatalogue, Products) {
  Check({
      {R"({})", "en_US USA"},
      {R"({"products": []})", "en_US USA"},
      {R"({"products": [{"productID": "a", "displayPrice": "4.99", "type": "NonConsumable"}]})", "a=4.99! en_US USA"},
      {R"({"products": [{"productID": "a", "displayPrice": "4.99", "type": "Consumable"}]})", "a=4.99 en_US USA"},
      {R"({"products": [{"productID": "a", "type": "nonconsumable"}]})", "a=0 en_US USA"},
      {R"({"products": [{"productID": "a"}, {"productID": "b", "displayPrice": "1"}]})", "a=0 b=1 en_US USA"},
      {R"({"nonRenewingSubscriptions": [{"productID": "n", "displayPrice": "2.5", "type": "NonRenewingSubscription"}],
           "products": [{"productID": "p", "type": "NonConsumable"}]})",
       "n=2.5 p=0! en_US USA"},
      {R"({"products": [{"productID": "ä\u20ac \"q\""}]})", "ä€ \"q\"=0 en_US USA"},
      // Equal to the letter or not the same.
      {R"({"products": [{"productID": "a"}, {"productID": "A"}, {"productID": "a "}]})", "a=0 A=0 a =0 en_US USA"},
      // One product's price and type are not the next one's.
      {R"({"products": [{"productID": "a", "displayPrice": "3", "type": "NonConsumable"}, {"productID": "b"}]})",
       "a=3! b=0 en_US USA"},
  });
}

TEST(StoreCatalogue, PricesKeepTheirText) {
  for (const std::string price :
       {"0", "4.99", "4.9900000000000000000000000001", "007", "0.10", "1234567890", "123456789012345678901234567890"}) {
    EXPECT_EQ(Read(R"({"products": [{"productID": "a", "displayPrice": ")" + price + R"("}]})"),
              "a=" + price + " en_US USA");
  }
}

TEST(StoreCatalogue, PricesThatAreNone) {
  for (const std::string price : {"", ".", "4.", ".99", "-1", "+1", "1e2", "1,99", "1.2.3", " 1", "1 ", "$1", "NaN",
                                  "٤", "1234567890123456789012345678901", "0x10"}) {
    EXPECT_EQ(Read(R"({"products": [{"productID": "a", "displayPrice": ")" + price + R"("}]})"),
              R"(F:1:50: "displayPrice" should be a decimal number such as "4.99", not ")" + price + '"');
  }
}

TEST(StoreCatalogue, Settings) {
  Check({
      {R"({"settings": {}})", "en_US USA"},
      {R"({"settings": {"_locale": "de_DE", "_storefront": "DEU"}})", "de_DE DEU"},
      {R"({"settings": {"_locale": "zh-Hans"}})", "zh-Hans USA"},
      {R"({"settings": {"_failTransactionsEnabled": true}})", "en_US USA purchase-fails"},
      {R"({"settings": {"_askToBuyEnabled": true}})", "en_US USA ask-to-buy"},
      {R"({"settings": {"_disableDialogs": true}})", "en_US USA no-dialogs"},
      {R"({"settings": {"_failTransactionsEnabled": false, "_askToBuyEnabled": false, "_disableDialogs": false}})",
       "en_US USA"},
  });
}

TEST(StoreCatalogue, StoreErrors) {
  Check({
      {R"({"settings": {"_storeKitErrors": []}})", "en_US USA"},
      {R"({"settings": {"_storeKitErrors": [{"enabled": true, "name": "Load Products"}]}})", "en_US USA products-fail"},
      {R"({"settings": {"_storeKitErrors": [{"name": "Purchase", "enabled": true}]}})", "en_US USA purchase-fails"},
      {R"({"settings": {"_storeKitErrors": [{"name": "Purchase", "enabled": false}]}})", "en_US USA"},
      {R"({"settings": {"_storeKitErrors": [{"name": "Purchase"}, {"enabled": true}]}})", "en_US USA"},
      {R"({"settings": {"_storeKitErrors": [{"enabled": true}, {"name": "Purchase"}]}})", "en_US USA"},
      {R"({"settings": {"_storeKitErrors": [{"name": "App Store Sync", "enabled": true}]}})", "en_US USA"},
      {R"({"settings": {"_storeKitErrors": [{"current": {"name": 1, "enabled": 2}, "name": "Purchase", "enabled": true},
                                            {"name": "Load Products", "enabled": true}]}})",
       "en_US USA products-fail purchase-fails"},
      // Either of two settings makes purchases fail, whichever comes first.
      {R"({"settings": {"_failTransactionsEnabled": false, "_storeKitErrors": [{"name": "Purchase", "enabled": true}]}})",
       "en_US USA purchase-fails"},
      {R"({"settings": {"_storeKitErrors": [{"name": "Purchase", "enabled": true}], "_failTransactionsEnabled": false}})",
       "en_US USA purchase-fails"},
  });
}

TEST(StoreCatalogue, NullsCountAsAbsent) {
  Check({
      {R"({"products": null, "nonRenewingSubscriptions": null, "settings": null, "version": null})", "en_US USA"},
      {R"({"products": [null, {"productID": "a", "displayPrice": null, "type": null, "localizations": null}, null]})",
       "a=0 en_US USA"},
      {R"({"settings": {"_locale": null, "_storefront": null, "_failTransactionsEnabled": null, "_askToBuyEnabled": null,
                        "_disableDialogs": null, "_storeKitErrors": null}})",
       "en_US USA"},
      {R"({"settings": {"_storeKitErrors": [null, {"name": null, "enabled": null, "current": null}]}})", "en_US USA"},
      {R"({"version": {"major": null, "minor": null}})", "en_US USA"},
      {R"({"products": [{"productID": null}]})", "F:1:15: this product has no \"productID\""},
      {R"({"products": [{"productID": null, "productID": "a"}]})", "a=0 en_US USA"},
  });
}

TEST(StoreCatalogue, UnknownKeysAndSectionsArePassedOver) {
  Check({
      {R"({"": 1, "identifier": [], "appPolicies": {"products": [{}], "settings": 1}, "subscriptionGroups": [{}]})",
       "en_US USA"},
      {R"({"products": [{"productID": "a", "": 1, "localizations": [{"productID": ["b"], "displayPrice": -1}],
                         "introductoryOffer": {"displayPrice": 0}}]})",
       "a=0 en_US USA"},
      {R"({"settings": {"_timeRate": 1e9, "_lastSynchronizedDate": 726429294.46772897, "products": 1}})", "en_US USA"},
      {R"({"Products": 1, "productID": 1, "_locale": 1, "major": "x"})", "en_US USA"},
  });
}

TEST(StoreCatalogue, Versions) {
  for (const std::string major : {"1", "2", "3", "4", "5", "4.0", "5.5"}) {
    EXPECT_EQ(Read(R"({"version": {"major": )" + major + R"(, "minor": "any"}})"), "en_US USA") << major;
  }
  EXPECT_EQ(Read(R"({"version": {}})"), "en_US USA");
  for (const std::string major : {"6", "6.0", "0", "-1", "99999999999999999999", "1e300"}) {
    EXPECT_EQ(Read(R"({"version": {"major": )" + major + "}}"),
              "F:1:23: a version of the format that is not known: 1 to 5 are");
  }
}

TEST(StoreCatalogue, ErrorsPointAtTheValue) {
  Check({
      {"[]", "F:1:1: this value should be an object"},
      {"null", "F:1:1: this value should be an object"},
      {" \n 1", "F:2:2: this value should be an object"},
      {"\xEF\xBB\xBFtrue", "F:1:1: this value should be an object"},
      {R"({"products": {}})", "F:1:14: \"products\" should be a list"},
      {R"({"products": "a"})", "F:1:14: \"products\" should be a list"},
      {R"({"nonRenewingSubscriptions": 0})", "F:1:30: \"nonRenewingSubscriptions\" should be a list"},
      {R"({"products": [1]})", "F:1:15: this value should be an object"},
      {R"({"products": [[]]})", "F:1:15: this value should be an object"},
      {R"({"settings": []})", "F:1:14: \"settings\" should be an object"},
      {R"({"version": 4})", "F:1:13: \"version\" should be an object"},
      {R"({"version": {"major": "4"}})", "F:1:23: \"major\" should be a number"},
      {R"({"products": [{"productID": 5}]})", "F:1:29: \"productID\" should be text"},
      {R"({"products": [{"productID": ["a"]}]})", "F:1:29: \"productID\" should be text"},
      {R"({"products": [{"productID": "a", "displayPrice": 4.99}]})", "F:1:50: \"displayPrice\" should be text"},
      {R"({"products": [{"productID": "a", "type": true}]})", "F:1:42: \"type\" should be text"},
      {R"({"settings": {"_locale": {}}})", "F:1:26: \"_locale\" should be text"},
      {R"({"settings": {"_storefront": 840}})", "F:1:30: \"_storefront\" should be text"},
      {R"({"settings": {"_failTransactionsEnabled": 1}})",
       "F:1:43: \"_failTransactionsEnabled\" should be true or false"},
      {R"({"settings": {"_askToBuyEnabled": "yes"}})", "F:1:35: \"_askToBuyEnabled\" should be true or false"},
      {R"({"settings": {"_disableDialogs": []}})", "F:1:34: \"_disableDialogs\" should be true or false"},
      {R"({"settings": {"_storeKitErrors": {}}})", "F:1:34: \"_storeKitErrors\" should be a list"},
      {R"({"settings": {"_storeKitErrors": ["Purchase"]}})", "F:1:35: this value should be an object"},
      {R"({"settings": {"_storeKitErrors": [{"name": 1}]}})", "F:1:44: \"name\" should be text"},
      {R"({"settings": {"_storeKitErrors": [{"enabled": 1}]}})", "F:1:47: \"enabled\" should be true or false"},
      {R"({"settings": {"_locale": "xx_YY"}})", "F:1:26: \"_locale\" names no known locale: \"xx_YY\""},
      {R"({"settings": {"_locale": ""}})", "F:1:26: \"_locale\" names no known locale: \"\""},
      {R"({"settings": {"_storefront": "US"}})",
       "F:1:30: \"_storefront\" should be a country's three-letter code, not \"US\""},
      {R"({"settings": {"_storefront": "XXX"}})",
       "F:1:30: \"_storefront\" should be a country's three-letter code, not \"XXX\""},
      {R"({"products": [{"productID": ""}]})", "F:1:29: \"productID\" is empty"},
      {"{\"products\": [\n  {\"productID\": \"a\"},\n  {\"displayPrice\": \"1\"}\n]}",
       "F:3:3: this product has no \"productID\""},
      {"{\r\n\t\"products\": [{\"referenceName\": \"ä€😀\", \"displayPrice\": \"x\"}]}",
       "F:2:56: \"displayPrice\" should be a decimal number such as \"4.99\", not \"x\""},
  });
}

TEST(StoreCatalogue, Duplicates) {
  Check({
      {"{\"products\": [{\"productID\": \"a\"},\n{\"productID\": \"a\"}]}",
       "F:2:15: a second product with the \"productID\" \"a\""},
      {"{\"products\": [{\"productID\": \"a\"}],\n\"nonRenewingSubscriptions\": [{\"productID\": \"\\u0061\"}]}",
       "F:2:44: a second product with the \"productID\" \"a\""},
      {R"({"products": [], "products": []})", "F:1:30: a second \"products\" in one object"},
      {R"({"products": [{"productID": "a", "productID": "b"}]})", "F:1:47: a second \"productID\" in one object"},
      {R"({"products": [{"displayPrice": "1", "displayPrice": "2"}]})",
       "F:1:53: a second \"displayPrice\" in one object"},
      {R"({"settings": {"_locale": "de", "_locale": "de"}})", "F:1:43: a second \"_locale\" in one object"},
      {R"({"x": 1, "x": 2})", "en_US USA"},
  });
}

TEST(StoreCatalogue, TextThatIsNotJson) {
  const struct {
    std::string_view text, place_and_kind;
  } cases[] = {
      {"", "F:1:1: syntax error"},
      {"\xEF\xBB\xBF", "F:1:1: syntax error"},
      {"{\n", "F:2:1: syntax error"},
      {"{\"products\": [{\"productID\": \"\xFF\"}]}", "F:1:30: syntax error"},
      {"{\"subscriptionGroups\": [\"\xC3(\"]}", "F:1:27: syntax error"},
      {"{} {}", "F:1:4: syntax error"},
      {"{\"products\": [],}", "F:1:17: syntax error"},
      {"{'products': []}", "F:1:2: syntax error"},
      {std::string_view("{}\0", 3), "F:1:3: a zero byte"},
      {std::string_view("{\0}\0", 4), "F:1:2: a zero byte"},
      {R"({"x": 1e999})", "F:1:11: number out of range"},
  };
  for (const auto& c : cases) {
    const std::string error = Read(c.text);
    EXPECT_EQ(error.substr(0, c.place_and_kind.size()), c.place_and_kind) << c.text << '\n' << error;
  }
}

TEST(StoreCatalogue, AnErrorIsOneShortLine) {
  StoreCatalogue catalogue;
  std::string error;
  EXPECT_FALSE(ParseStoreCatalogue(R"({"settings": {"_locale": "a\nb\u0007\u007f"}})", "a\nb", &catalogue, &error));
  EXPECT_EQ(error, "a?b:1:26: \"_locale\" names no known locale: \"a?b??\"");

  std::string long_text;
  while (long_text.size() < kMebibyte / 2) long_text += "€";
  EXPECT_FALSE(ParseStoreCatalogue("{\"settings\": {\"_locale\": \"x" + long_text + "\"}}", "F", &catalogue, &error));
  EXPECT_EQ(error, "F:1:26: \"_locale\" names no known locale: \"x" + long_text.substr(0, 57) + "…\"");
  EXPECT_FALSE(ParseStoreCatalogue("\"" + long_text, "F", &catalogue, &error));
  EXPECT_LT(error.size(), 200U) << error;
}

std::string Nested(int lists) {
  return "{\"x\": " + std::string(static_cast<std::size_t>(lists), '[') +
         std::string(static_cast<std::size_t>(lists), ']') + '}';
}

TEST(StoreCatalogue, Depth) {
  EXPECT_EQ(Read(Nested(31)), "en_US USA");
  EXPECT_EQ(Read(Nested(32)), "F:1:38: nested more than 32 levels deep");
  EXPECT_EQ(Read(Nested(500'000)), "F:1:38: nested more than 32 levels deep");
}

std::string Padded(std::size_t size) { return "{}" + std::string(size - 2, ' '); }

TEST(StoreCatalogue, Size) {
  EXPECT_EQ(Read(Padded(kMebibyte)), "en_US USA");
  EXPECT_EQ(Read(Padded(kMebibyte + 1)), "F: larger than 1 MiB");
}

TEST(StoreCatalogue, ManyProducts) {
  std::string text = "{\"products\": [";
  for (int i = 0; i < 30'000; ++i) text += "{\"productID\": \"" + std::to_string(i) + "\"},\n";
  StoreCatalogue catalogue;
  std::string error;
  ASSERT_TRUE(ParseStoreCatalogue(text + "null]}", "F", &catalogue, &error)) << error;
  EXPECT_EQ(catalogue.products.size(), 30'000U);
  EXPECT_EQ(catalogue.products.back().identifier, "29999");
  EXPECT_EQ(Read(text + "{\"productID\": \"7\"}]}"), "F:30001:15: a second product with the \"productID\" \"7\"");
}

class StoreCatalogueFile : public testing::Test {
 protected:
  StoreCatalogueFile() : folder_((std::filesystem::temp_directory_path() / "store_catalogue_XXXXXX").string()) {
    if (mkdtemp(folder_.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    descriptors_ = CountDescriptors();
  }
  ~StoreCatalogueFile() override {
    EXPECT_EQ(CountDescriptors(), descriptors_);
    std::filesystem::remove_all(folder_);
  }

  static std::ptrdiff_t CountDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  }

  std::string Write(const char* name, const std::string& text) {
    std::string path = folder_ + '/' + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  /// What the catalogue at this path is, or the error.
  static std::string Load(const std::string& path) {
    StoreCatalogue catalogue = SomeCatalogue();
    std::string error = "untouched";
    if (LoadStoreCatalogue(path, &catalogue, &error)) {
      EXPECT_EQ(error, "untouched") << path;
      return Described(catalogue);
    }
    EXPECT_EQ(Described(catalogue), Described({})) << path;
    return error;
  }

  std::string folder_;

 private:
  std::ptrdiff_t descriptors_ = 0;
};

TEST_F(StoreCatalogueFile, IsRead) {
  const std::string path = Write("a.storekit", "\xEF\xBB\xBF{\"products\": [{\"productID\": \"a\"}]}");
  EXPECT_EQ(Load(path), "a=0 en_US USA");
  ASSERT_EQ(symlink("a.storekit", (folder_ + "/link").c_str()), 0);
  EXPECT_EQ(Load(folder_ + "/link"), "a=0 en_US USA");
}

TEST_F(StoreCatalogueFile, ErrorsNameFileAndPlace) {
  const std::string path = Write("bad.storekit", "{\n  \"products\": 1\n}\n");
  EXPECT_EQ(Load(path), path + ":2:15: \"products\" should be a list");
  const std::string empty = Write("empty.storekit", "");
  EXPECT_TRUE(Load(empty).starts_with(empty + ":1:1: syntax error")) << Load(empty);
}

TEST_F(StoreCatalogueFile, Size) {
  const std::string just = Write("just", Padded(kMebibyte));
  EXPECT_EQ(Load(just), "en_US USA");
  const std::string more = Write("more", Padded(kMebibyte + 1));
  EXPECT_EQ(Load(more), more + ": larger than 1 MiB");
  // As much as a file system can hold: only the beginning may be read.
  ASSERT_EQ(truncate(more.c_str(), off_t{1} << 40), 0);
  EXPECT_EQ(Load(more), more + ": larger than 1 MiB");
}

TEST_F(StoreCatalogueFile, WhatIsNoReadableFile) {
  EXPECT_EQ(Load(folder_ + "/missing"), folder_ + "/missing: No such file or directory");
  EXPECT_EQ(Load(""), ": No such file or directory");
  EXPECT_EQ(Load(folder_), folder_ + ": not a regular file");
  EXPECT_EQ(Load("/dev/zero"), "/dev/zero: not a regular file");
  ASSERT_EQ(symlink("loop", (folder_ + "/loop").c_str()), 0);
  EXPECT_EQ(Load(folder_ + "/loop"), folder_ + "/loop: Too many levels of symbolic links");
  // The first page of a process is not mapped.
  EXPECT_EQ(Load("/proc/self/mem"), "/proc/self/mem: Input/output error");
}

TEST_F(StoreCatalogueFile, WithoutPermission) {
  const std::string path = Write("secret", "{}");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  std::string answer;
  std::thread([&] {
    // Takes the rights of the superuser from this thread alone.
    setfsuid(65534);
    answer = Load(path);
  }).join();
  EXPECT_EQ(answer, path + ": Permission denied");
}

TEST_F(StoreCatalogueFile, APipeDoesNotBlock) {
  const std::string path = folder_ + "/pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  auto answer = std::async(std::launch::async, [&] { return Load(path); });
  if (answer.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    ADD_FAILURE() << "waits for a writer";
    close(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  }
  EXPECT_EQ(answer.get(), path + ": not a regular file");
}

TEST_F(StoreCatalogueFile, TheShippedOne) {
  EXPECT_EQ(Load(TILLVANE_TEST_CATALOGUE), "org.example.storefront.paid=4.99! en_US USA");
}

}  // namespace
