#include "transport/streams.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "kit/system.h"
#include "platform/error.h"
#include "platform/file.h"
#include "transport/exceptions.h"
#include "transport/waitable.h"

namespace {

constexpr double kShortLimit = 0.05;

std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 31 + i / 257) & 0xFF);
    return bytes;
}

// A channel whose child is this process itself: the child's end is an ordinary blocking one.
template <typename Stream, platform::PipeDirection kDirection>
class Channel {
  public:
    Channel() {
        EXPECT_EQ(platform::MakePipe(kDirection, ends_), platform::PipeResult::Made);
        stream.handle = ends_.parent;
        stream.event = platform::CreateTransferSignal();
    }
    ~Channel() {
        CloseChild();
        platform::ClosePipe(stream.handle);
        if (stream.event != platform::EventHandle::None) platform::CloseSignal(stream.event);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    void CloseChild() {
        if (ends_.child != platform::PipeHandle::None) platform::ClosePipe(ends_.child);
        ends_.child = platform::PipeHandle::None;
    }
    void WriteAsChild(const std::string& bytes) {
        platform::WriteToLog(static_cast<std::uint64_t>(ends_.child), bytes.data(), bytes.size());
    }
    std::string ReadAsChild(std::size_t count) { return kit::ReadAsChild(ends_.child, count); }

    Stream stream;

  private:
    platform::PipeEnds ends_;
};

using InputChannel = Channel<Qel::streamInOverlapped, platform::PipeDirection::FromChild>;
using OutputChannel = Channel<Qel::streamOutOverlapped, platform::PipeDirection::ToChild>;

std::string Read(Qel::streamIn& stream, std::size_t count) {
    std::string bytes(count, '\0');
    bytes.resize(stream.read(bytes.data(), count));
    return bytes;
}

// A source that reads in one go, and a sink that writes so.
struct Plain : Qel::streamIn, Qel::streamOut {
    std::size_t read(void* buffer, std::size_t count) override {
        const std::string piece = bytes.substr(0, count);
        bytes.erase(0, count);
        std::memcpy(buffer, piece.data(), piece.size());
        return piece.size();
    }
    void write(const void* buffer, std::size_t count) override {
        bytes.append(static_cast<const char*>(buffer), count);
    }
    std::string bytes;
};

TEST(Streams, AreReadyWhereNothingIsPrepared) {
    Plain plain;
    Qel::streamIn& in = plain;
    Qel::streamOut& out = plain;
    out.prepareWrite();
    EXPECT_TRUE(out.ready());
    EXPECT_EQ(out.writeCounted("0123456789", 10), 10U);
    EXPECT_TRUE(in.ready());
    char buffer[4];
    EXPECT_EQ(in.readWhenReady(buffer, 2), 2U);
    EXPECT_EQ(in.readNow(buffer + 2, 2), 2U);
    EXPECT_EQ(std::string(buffer, 4), "0123");
    EXPECT_EQ(in.skipNow(3), 3U);
    EXPECT_EQ(plain.bytes, "789");
    EXPECT_EQ(in.skipNow(4), 3U);
}

TEST(StreamIn, GivesAllThatWasWrittenAndThenItsEnd) {
    InputChannel channel;
    const std::string bytes = Pattern(300000);  // several times what the system buffers
    std::thread writer([&] {
        for (std::size_t i = 0; i < bytes.size(); i += 7777) channel.WriteAsChild(bytes.substr(i, 7777));
        channel.CloseChild();
    });
    Qel::streamInOverlapped& stream = channel.stream;
    EXPECT_EQ(Read(stream, 0), "");
    EXPECT_EQ(Read(stream, 200000), bytes.substr(0, 200000));
    EXPECT_EQ(stream.skip(0), 0U);
    EXPECT_NO_THROW(stream.skipExact(1000));
    EXPECT_EQ(Read(stream, 100000), bytes.substr(201000)) << "a short read gives what there is";
    writer.join();
    EXPECT_EQ(Read(stream, 10), "");
    char byte = 0;
    EXPECT_THROW(stream.readExact(&byte, 1), Qel::invalid_input);
    EXPECT_EQ(stream.skip(1), 0U);
    EXPECT_THROW(stream.skipExact(1), Qel::invalid_input);
}

TEST(StreamIn, WorksWithoutATransferSignalOfItsOwn) {
    InputChannel channel;
    Qel::streamInOverlapped bare;
    bare.handle = channel.stream.handle;
    channel.WriteAsChild("abc");
    EXPECT_EQ(Read(bare, 3), "abc");
}

TEST(StreamIn, FetchedPiecesNeedNoMoreThanWasAskedFor) {
    InputChannel channel;
    Qel::streamInFetched fetched(channel.stream);
    const std::string bytes = Pattern(9000);
    channel.WriteAsChild(bytes);
    // Would wait for ever if it wanted to fill its window.
    EXPECT_EQ(Read(fetched, 1), bytes.substr(0, 1));
    EXPECT_EQ(Read(fetched, 5000), bytes.substr(1, 5000));
    EXPECT_EQ(Read(fetched, 3999), bytes.substr(5001));
    channel.WriteAsChild("ab");
    channel.CloseChild();
    EXPECT_EQ(Read(fetched, 5), "ab");
}

TEST(StreamIn, AbortWinsOverDataAndTakesNone) {
    InputChannel channel;
    channel.WriteAsChild("abc");
    Qel::aborter aborter;
    {
        Qel::AborterScope scope;
        scope.Enter(aborter);
        aborter.Set();
        EXPECT_THROW(Read(channel.stream, 3), Qel::user_abort);
    }
    EXPECT_EQ(Read(channel.stream, 3), "abc");
}

// A transfer that goes on after the call would write into a buffer that is somebody else's by then, and
// would take the bytes of the next read.
TEST(StreamIn, LeavesNoTransferBehind) {
    for (const bool abort : {true, false}) {
        SCOPED_TRACE(abort ? "abort" : "time limit");
        InputChannel channel;
        Qel::aborter aborter;
        std::string buffer(8, '-');
        std::thread setter;
        {
            Qel::AborterScope scope;
            scope.Enter(aborter);
            if (abort) {
                setter = std::thread([&] { aborter.Set(); });
                EXPECT_THROW(channel.stream.read(buffer.data(), buffer.size()), Qel::user_abort);
                setter.join();
            } else {
                channel.stream.timeoutSeconds = kShortLimit;
                EXPECT_THROW(channel.stream.read(buffer.data(), buffer.size()), Qel::network_error_timeout);
                channel.stream.timeoutSeconds = 0;
            }
        }
        channel.WriteAsChild("abcd");
        EXPECT_EQ(Read(channel.stream, 4), "abcd");
        EXPECT_EQ(buffer, "--------");
    }
}

TEST(StreamOut, WritesAllAndTellsWhatStoppedIt) {
    const std::string bytes = Pattern(1000000);
    OutputChannel channel;
    std::string arrived;
    std::thread reader([&] { arrived = channel.ReadAsChild(bytes.size()); });
    EXPECT_EQ(channel.stream.writeCounted(bytes.data(), bytes.size()), bytes.size());
    reader.join();
    EXPECT_EQ(arrived, bytes);

    // Nobody reads any more: the system's buffer fills up.
    channel.stream.timeoutSeconds = kShortLimit;
    EXPECT_THROW(channel.stream.write(bytes.data(), bytes.size()), Qel::network_error_timeout);
    channel.stream.timeoutSeconds = 0;
    Qel::aborter aborter;
    {
        Qel::AborterScope scope;
        scope.Enter(aborter);
        std::thread setter([&] { aborter.Set(); });
        EXPECT_THROW(channel.stream.write(bytes.data(), bytes.size()), Qel::user_abort);
        setter.join();
    }
    channel.CloseChild();
    EXPECT_THROW(channel.stream.write(bytes.data(), bytes.size()), Qel::file_access_error);
}

TEST(Exceptions, BelongToErrorNumbers) {
    EXPECT_THROW(Qel::RaiseForWin32Error(2), Qel::file_not_found);
    EXPECT_THROW(Qel::RaiseForWin32Error(3), Qel::file_not_found);
    EXPECT_THROW(Qel::RaiseForWin32Error(145), Qel::directory_not_empty);
    EXPECT_THROW(Qel::RaiseForWin32Error(80), Qel::file_already_exists);
    EXPECT_THROW(Qel::RaiseForWin32Error(183), Qel::file_already_exists);
    EXPECT_THROW(Qel::RaiseForWin32Error(109), Qel::file_access_error);
}

TEST(Streams, WithoutAChannelFailAtOnce) {
    Qel::streamInOverlapped input;
    Qel::streamOutOverlapped output;
    char byte = 0;
    EXPECT_THROW(input.read(&byte, 1), Qel::file_access_error);
    EXPECT_THROW(output.write(&byte, 1), Qel::file_access_error);
    Qel::aborter aborter;
    Qel::AborterScope scope;
    scope.Enter(aborter);
    EXPECT_THROW(input.read(&byte, 1), Qel::file_access_error) << "nothing to wait for but the aborter";
    EXPECT_THROW(output.write(&byte, 1), Qel::file_access_error);
    aborter.Set();
    EXPECT_THROW(input.read(&byte, 1), Qel::user_abort);
}

}  // namespace
