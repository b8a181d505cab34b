#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/system/LCommandLine.h>

namespace {

using Texts = std::vector<std::string>;

/// What `main` is given: the texts and a null.
class Arguments {
 public:
  explicit Arguments(const Texts& texts) : texts_(texts) {
    for (std::string& text : texts_) pointers_.push_back(text.data());
    pointers_.push_back(nullptr);
  }
  int Count() const { return static_cast<int>(texts_.size()); }
  char** Get() { return pointers_.data(); }

 private:
  Texts texts_;
  std::vector<char*> pointers_;
};

Texts Copy() {
  EXPECT_EQ(gargv[gargc], nullptr);
  return {gargv, gargv + gargc};
}

TEST(CommandLine, IsCopiedWithoutTheSerialNumber) {
  struct Case {
    Texts given, copied;
  };
  const Case cases[] = {
      {{"prog", "-psn_0_12345", "file"}, {"prog", "file"}},
      {{"prog", "file", "-psn_0_1"}, {"prog", "file", "-psn_0_1"}},
      {{"prog", "-psn_0_1", "-psn_0_2"}, {"prog", "-psn_0_2"}},
      {{"prog", "-psn"}, {"prog"}},
      {{"prog", "-psnothing else"}, {"prog"}},
      {{"prog", "-ps"}, {"prog", "-ps"}},
      {{"prog", "-PSN_0_1"}, {"prog", "-PSN_0_1"}},
      {{"prog", "psn"}, {"prog", "psn"}},
      {{"prog", "x-psn"}, {"prog", "x-psn"}},
      {{"prog", ""}, {"prog", ""}},
      {{"-psn_0_1", "file"}, {"-psn_0_1", "file"}},
      {{"prog"}, {"prog"}},
      {{}, {}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.given));
    Arguments arguments(one.given);
    LUnixAppCopyCommandLineArguments(arguments.Count(), arguments.Get());
    EXPECT_EQ(Copy(), one.copied);
  }
}

TEST(CommandLine, TheTextsAreTheCallers) {
  Arguments arguments({"prog", "-psn", "file"});
  LUnixAppCopyCommandLineArguments(arguments.Count(), arguments.Get());
  EXPECT_EQ(gargv[0], arguments.Get()[0]);
  EXPECT_EQ(gargv[1], arguments.Get()[2]);
  EXPECT_NE(gargv, arguments.Get());
}

TEST(CommandLine, LessThanNothingIsAnEmptyCopy) {
  for (const int count : {0, -1, -2, -2147483647 - 1}) {
    LUnixAppCopyCommandLineArguments(count, nullptr);
    EXPECT_EQ(Copy(), Texts());
  }
}

TEST(CommandLine, ACopyCanBeCopied) {
  Arguments arguments({"prog", "-psn", "-psn", "file"});
  LUnixAppCopyCommandLineArguments(arguments.Count(), arguments.Get());
  LUnixAppCopyCommandLineArguments(gargc, gargv);
  EXPECT_EQ(Copy(), (Texts{"prog", "file"}));
}

TEST(CommandLine, AnArgumentIsTakenOut) {
  struct Case {
    int index;
    Texts left;
  };
  const Case cases[] = {
      {0, {"b", "c"}},
      {1, {"a", "c"}},
      {2, {"a", "b"}},
      // There is none.
      {3, {"a", "b", "c"}},
      {-1, {"a", "b", "c"}},
      {1000, {"a", "b", "c"}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.index);
    Arguments arguments({"a", "b", "c"});
    LUnixAppCopyCommandLineArguments(arguments.Count(), arguments.Get());
    LRemoveCommandLineArgument(one.index);
    EXPECT_EQ(Copy(), one.left);
  }
}

TEST(CommandLine, ANullStandsBehindTheLastOneThatIsLeft) {
  Arguments arguments({"a", "b"});
  LUnixAppCopyCommandLineArguments(arguments.Count(), arguments.Get());
  LRemoveCommandLineArgument(0);
  EXPECT_EQ(gargc, 1);
  EXPECT_STREQ(gargv[0], "b");
  EXPECT_EQ(gargv[1], nullptr);
  EXPECT_EQ(gargv[2], nullptr);
  LRemoveCommandLineArgument(0);
  LRemoveCommandLineArgument(0);
  EXPECT_EQ(Copy(), Texts());
}

}  // namespace
