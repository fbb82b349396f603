#include "support/clfile.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <new>
#include <string>

#include "kit/file_faults.h"
#include "kit/files.h"

namespace {

class FileTest : public testing::Test {
  protected:
    void Write(const std::string& bytes) { kit::WriteFile(path_, bytes); }
    std::string Bytes() { return kit::ReadFile(path_); }
    std::u16string Path() const { return path_.u16string(); }

    const kit::TempFolder folder_;
    const std::filesystem::path path_ = folder_ / "file";
};

TEST_F(FileTest, ShiftTailMovesAnyTailInBothDirections) {
    struct Case {
        std::size_t size;
        std::int64_t position;
        std::int64_t delta;
    };
    const Case cases[] = {{20, 10, 5},        {20, 10, -5},         {20, 20, 7},
                          {20, 20, -7},       {200000, 1000, 4096}, {200000, 1000, -999},
                          {200000, 0, 65537}, {20, 10, 0},          {131072, 65536, -65536}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.size << " " << c.position << " " << c.delta);
        std::string bytes(c.size, '\0');
        for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
        Write(bytes);
        clFile file(Path());
        ASSERT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
        ASSERT_TRUE(file.ShiftTail(c.position, c.delta));
        file.Close();
        const std::string after = Bytes();
        const auto position = static_cast<std::size_t>(c.position);
        ASSERT_EQ(after.size(), c.size + static_cast<std::size_t>(c.delta));
        const auto target = static_cast<std::size_t>(c.position + c.delta);
        EXPECT_EQ(after.substr(target), bytes.substr(position));
        EXPECT_EQ(after.substr(0, std::min(position, target)), bytes.substr(0, std::min(position, target)));
    }
}

// Whatever fails on the way, everything behind the position is where it was; a disk that takes no more bytes
// at all keeps each of them in one of the two places.
TEST_F(FileTest, ShiftTailMovesBackWhatAFailureLeft) {
    std::string bytes(200000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    constexpr std::size_t kPosition = 80000;
    for (const std::int64_t delta : {100, -100, 70000, -70000}) {
        const std::size_t given = delta < 0 ? static_cast<std::size_t>(-delta) : 0;
        for (const auto fault : {kit::FileFault::Once, kit::FileFault::Half, kit::FileFault::Lasting}) {
            bool happened = true;
            for (std::size_t at = 0; happened; ++at) {
                SCOPED_TRACE(testing::Message()
                             << delta << " at " << at << " fault " << static_cast<int>(fault));
                Write(bytes);
                clFile file(Path());
                ASSERT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
                bool torn = false;
                bool moved = false;
                {
                    const kit::FileFaults faults(fault, at);
                    moved = file.ShiftTail(kPosition, delta, &torn);
                    happened = faults.Happened();
                }
                file.Close();
                const std::string after = Bytes();
                ASSERT_EQ(moved, !happened);
                ASSERT_TRUE(!torn || fault == kit::FileFault::Lasting);
                if (moved) {
                    ASSERT_EQ(after.substr(kPosition + static_cast<std::size_t>(delta)),
                              bytes.substr(kPosition));
                } else if (!torn) {
                    ASSERT_EQ(after.substr(0, kPosition - given), bytes.substr(0, kPosition - given));
                    ASSERT_EQ(after.substr(kPosition, bytes.size() - kPosition), bytes.substr(kPosition));
                    ASSERT_TRUE(after.size() == bytes.size() || fault == kit::FileFault::Lasting);
                } else {
                    for (std::size_t i = kPosition; i < bytes.size(); ++i) {
                        const std::size_t other = i + static_cast<std::size_t>(delta);
                        ASSERT_TRUE(after[i] == bytes[i] || after[other] == bytes[i]) << i;
                    }
                }
            }
        }
    }
}

TEST_F(FileTest, SetLengthWritesZerosBeyondOneBlock) {
    Write("abc");
    clFile file(Path());
    ASSERT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
    ASSERT_TRUE(file.SetLength(3 + 65537));
    EXPECT_EQ(Bytes(), "abc" + std::string(65537, '\0'));
    ASSERT_TRUE(file.SetLength(2));
    EXPECT_EQ(Bytes(), "ab");
    bool happened = true;
    for (std::size_t at = 0; happened; ++at) {
        const kit::FileFaults faults(kit::FileFault::Once, at);
        const bool set = file.SetLength(5);
        happened = faults.Happened();
        EXPECT_EQ(set, !happened) << at;
    }
}

TEST_F(FileTest, TroubleIsNotedWhileItsWatchLives) {
    alignas(clFileTrouble) std::array<std::byte, sizeof(clFileTrouble)> place{};
    clFile missing(Path());
    auto* const trouble = new (place.data()) clFileTrouble;
    EXPECT_FALSE(missing.Open(clFile::kRead));
    EXPECT_EQ(trouble->step, clFileTrouble::Step::Open);
    EXPECT_EQ(trouble->code, 2U);
    trouble->~clFileTrouble();
    place.fill(std::byte{0});
    EXPECT_FALSE(missing.Open(clFile::kRead));
    EXPECT_EQ(place, decltype(place){}) << "noted in a watch that is gone";
}

TEST_F(FileTest, TakesRoomBehindTheEndOrLeavesTheLength) {
    Write("abc");
    clFile file(Path());
    ASSERT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
    ASSERT_TRUE(file.TakeRoom(70000));
    EXPECT_EQ(Bytes(), "abc" + std::string(70000 - 3, '\0'));
    ASSERT_TRUE(file.TakeRoom(5));
    EXPECT_EQ(std::filesystem::file_size(path_), 70000U);
    EXPECT_FALSE(file.TakeRoom(std::int64_t{1} << 62)) << "no file system is that large";
    EXPECT_EQ(std::filesystem::file_size(path_), 70000U);
}

TEST_F(FileTest, TellsEndFromFailure) {
    Write("abc");
    clFile file(Path());
    char buffer[8];
    bool failed = false;
    EXPECT_EQ(file.Read(buffer, 1, &failed), 0U);
    EXPECT_TRUE(failed) << "a closed file";
    ASSERT_TRUE(file.Open(clFile::kRead));
    EXPECT_EQ(file.Read(buffer, sizeof buffer, &failed), 3U);
    EXPECT_FALSE(failed) << "the end of the file";
    EXPECT_FALSE(file.Write("x", 1, clFile::Where::End)) << "a file that was opened for reading";
    clFile shared(file.handle);
    EXPECT_TRUE(shared.Seek(1, clFile::Where::Start));
    shared.Close();
    EXPECT_EQ(file.Size(), 3) << "a borrowed handle was closed";
    EXPECT_EQ(file.Tell(), 3) << "the position of another object";
}

TEST_F(FileTest, RefusesAFolderAndSaysWhatIsMissing) {
    clFile folder(folder_.path().u16string());
    EXPECT_FALSE(folder.Open(clFile::kRead));
    clFile missing(Path());
    EXPECT_FALSE(missing.Open(clFile::kRead));
    EXPECT_EQ(clFile::OpenErrorText(Path().c_str()),
              clString(u"Error opening file '" + Path() + u"', check no other program has it open. (win:2)"));
    EXPECT_EQ(clFile::OpenErrorText(u""), clString(u"No file specified!"));
}

TEST_F(FileTest, GoesWhereItIsTold) {
    Write("0123456789");
    clFile file(Path());
    bool failed = false;
    EXPECT_EQ(file.Tell(), -1);
    EXPECT_EQ(file.Size(&failed), 0);
    EXPECT_TRUE(failed);
    EXPECT_FALSE(file.Seek(0, clFile::Where::Start));
    EXPECT_FALSE(file.Write("x", 1, clFile::Where::Here));
    EXPECT_TRUE(file.Write(nullptr, 0, clFile::Where::Here)) << "nothing can be written anywhere";
    EXPECT_FALSE(file.Write(nullptr, 1, clFile::Where::Here));

    ASSERT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
    EXPECT_EQ(file.Size(&failed), 10);
    EXPECT_FALSE(failed);
    EXPECT_TRUE(file.Seek(-3, clFile::Where::End));
    EXPECT_TRUE(file.Seek(-2, clFile::Where::Here));
    EXPECT_EQ(file.Tell(), 5);
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    EXPECT_FALSE(file.Seek(-1, clFile::Where::Start));
    EXPECT_FALSE(file.Seek(-11, clFile::Where::End));
    EXPECT_FALSE(file.Seek(kLargest - 4, clFile::Where::Here));
    EXPECT_EQ(file.Tell(), 5) << "where no seek was refused";
    EXPECT_TRUE(file.Write("h", 1, clFile::Where::Here));
    EXPECT_TRUE(file.Write("s", 1, clFile::Where::Start));
    EXPECT_TRUE(file.Write("e", 1, clFile::Where::End));
    char digits[3] = {};
    EXPECT_EQ(file.ReadAt(2, digits, 2, &failed), 2U);
    EXPECT_STREQ(digits, "23");
    EXPECT_TRUE(file.WriteAt(7, "n", 1));
    EXPECT_FALSE(file.WriteAt(-1, "x", 1));
    EXPECT_EQ(file.ReadAt(-1, digits, 2, &failed), 0U);
    EXPECT_TRUE(failed) << "there is no such place";
    file.Close();
    EXPECT_EQ(Bytes(), "s1234h6n89e");
}

TEST_F(FileTest, ReachesBehindFourGigabytes) {
    constexpr std::int64_t kFar = (std::int64_t{1} << 32) + 5;
    Write("0123456789");
    clFile file(Path());
    ASSERT_TRUE(file.Open(clFile::kRead | clFile::kWrite));
    ASSERT_TRUE(file.Seek(kFar, clFile::Where::Start));
    ASSERT_TRUE(file.Write("far", 3, clFile::Where::Here));
    EXPECT_EQ(file.Size(), kFar + 3);
    char bytes[4] = {};
    ASSERT_TRUE(file.Seek(-2, clFile::Where::End));
    EXPECT_EQ(file.Read(bytes, sizeof bytes), 2U);
    EXPECT_STREQ(bytes, "ar");
    EXPECT_TRUE(file.SetLength(9));
    EXPECT_TRUE(file.Write("x", 1, clFile::Where::Here)) << "at the new end";
    file.Close();
    EXPECT_EQ(Bytes(), "012345678x");
}

}  // namespace
