#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/open_files.h>
#include <tillvane/files/LProcessFile.h>

namespace {

using support::OpenFile;
using testing::ElementsAre;
using testing::IsEmpty;

/// Notes what it is asked and told, in order; stops at the question of this number, counted from 1.
class Noting : public LProcessInterfaceVoid {
 public:
  explicit Noting(int stop_at = 0) : stop_at_(stop_at) {}

  bool IsToStop() override {
    calls.emplace_back("stop?");
    return ++asked_ == stop_at_;
  }
  void SetProgress(double fraction) override {
    calls.push_back(testing::PrintToString(fraction));
    fractions.push_back(fraction);
  }
  void SetError(const char* text) override { calls.push_back(std::string("error ") + text); }
  void SetStatus(const char* text, int) override { calls.push_back(std::string("status ") + text); }
  void SetProgressIndeterminateOn() override { calls.emplace_back("on"); }
  void SetProgressIndeterminateOff() override { calls.emplace_back("off"); }

  std::vector<std::string> calls;
  std::vector<double> fractions;

 private:
  const int stop_at_;
  int asked_ = 0;
};

std::string Block(std::size_t size) {
  std::string block;
  for (std::size_t i = 0; i < size; ++i) block += static_cast<char>(i * 31 % 251);
  return block;
}

int Write(LProcessInterface& process, int descriptor, const std::string& block) {
  LWriteFileRef file(descriptor);
  return LProcessFileWrite(process, file, block.data(), static_cast<unsigned int>(block.size()));
}

int Read(LProcessInterface& process, int descriptor, std::string& block) {
  LReadFileRef file(descriptor);
  const void* const buffer = block.data();
  return LProcessFileRead(process, file, buffer, static_cast<unsigned int>(block.size()));
}

TEST(ProcessFile, ABlockGoesOutAndComesBackByChunks) {
  const OpenFile file;
  const std::string block = Block(25000);
  Noting writing, reading;
  EXPECT_EQ(Write(writing, file.Descriptor(), block), 0);
  EXPECT_THAT(writing.calls, ElementsAre("stop?", "0.4096", "stop?", "0.8192", "stop?", "1"));
  EXPECT_THAT(writing.fractions, ElementsAre(10240.0 / 25000, 20480.0 / 25000, 1.0));
  EXPECT_EQ(file.Bytes(), block);

  lseek(file.Descriptor(), 0, SEEK_SET);
  std::string read(block.size(), '\0');
  EXPECT_EQ(Read(reading, file.Descriptor(), read), 0);
  EXPECT_EQ(reading.calls, writing.calls);
  EXPECT_EQ(read, block);
}

TEST(ProcessFile, WholeChunksAndSmallBlocks) {
  struct Case {
    std::size_t size;
    std::vector<double> fractions;
  };
  const Case cases[] = {{1, {1}}, {10239, {1}}, {10240, {1}}, {20480, {0.5, 1}}, {10241, {10240.0 / 10241, 1}}};
  for (const Case& one : cases) {
    const OpenFile file;
    Noting writing, reading;
    EXPECT_EQ(Write(writing, file.Descriptor(), Block(one.size)), 0);
    EXPECT_EQ(writing.fractions, one.fractions) << one.size;
    EXPECT_EQ(file.Bytes(), Block(one.size));
    lseek(file.Descriptor(), 0, SEEK_SET);
    std::string read(one.size, '\0');
    EXPECT_EQ(Read(reading, file.Descriptor(), read), 0);
    EXPECT_EQ(reading.fractions, one.fractions) << one.size;
    EXPECT_EQ(read, Block(one.size));
  }
}

TEST(ProcessFile, NothingIsDoneAtOnce) {
  Noting process(1);
  std::string nothing;
  for (const int descriptor : {-1, 0}) {
    EXPECT_EQ(Write(process, descriptor, nothing), 0);
    EXPECT_EQ(Read(process, descriptor, nothing), 0);
  }
  EXPECT_THAT(process.calls, IsEmpty());
}

TEST(ProcessFile, StopsBeforeAnyChunk) {
  for (int stop_at = 1; stop_at <= 3; ++stop_at) {
    const auto moved = static_cast<std::size_t>(stop_at - 1) * 10240;
    const OpenFile file;
    Noting writing(stop_at), reading(stop_at);
    EXPECT_EQ(Write(writing, file.Descriptor(), Block(25000)), 1);
    EXPECT_EQ(file.Bytes(), Block(moved));
    EXPECT_EQ(writing.calls.size(), moved / 10240 * 2 + 1);
    EXPECT_EQ(writing.calls.back(), "stop?");

    file.Fill(Block(25000));
    std::string read(25000, '#');
    EXPECT_EQ(Read(reading, file.Descriptor(), read), 1);
    EXPECT_EQ(read, Block(moved) + std::string(25000 - moved, '#'));
    EXPECT_EQ(file.Offset(), static_cast<long long>(moved));
    EXPECT_EQ(reading.calls, writing.calls);
  }
}

TEST(ProcessFile, WithoutADescriptorItFails) {
  for (const bool is_write : {false, true}) {
    Noting process, stopping(1);
    std::string block(25000, '#');
    EXPECT_EQ(is_write ? Write(process, -1, block) : Read(process, -1, block), 2);
    EXPECT_THAT(process.calls, ElementsAre("stop?"));
    EXPECT_EQ(is_write ? Write(stopping, -1, block) : Read(stopping, -1, block), 1);
    EXPECT_EQ(block, std::string(25000, '#'));
  }
}

TEST(ProcessFile, AShortChunkFails) {
  struct Case {
    std::size_t there;
    std::vector<double> fractions;
  };
  for (const Case& one : {Case{0, {}}, Case{10239, {}}, Case{10240, {0.4096}}, Case{24999, {0.4096, 0.8192}}}) {
    const OpenFile file(Block(one.there));
    Noting process;
    std::string read(25000, '#');
    EXPECT_EQ(Read(process, file.Descriptor(), read), 2);
    EXPECT_EQ(process.fractions, one.fractions) << one.there;
    EXPECT_EQ(read, Block(one.there) + std::string(25000 - one.there, '#'));
  }
}

TEST(ProcessFile, WhatCannotBeWrittenFails) {
  const OpenFile file("before", O_RDONLY);
  Noting process;
  EXPECT_EQ(Write(process, file.Descriptor(), Block(25000)), 2);
  EXPECT_THAT(process.calls, ElementsAre("stop?"));
  EXPECT_EQ(file.Bytes(), "before");
}

}  // namespace
