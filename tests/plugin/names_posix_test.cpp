// Names of files that aren't UTF-8, as the system allows them, and disks that are full.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <fstream>
#include <string>

#include "extensions.h"
#include "kit/tools.h"

namespace {

// The name "f\xFC\xC3\xBCr\xE2\x82.mka": a byte of another encoding, a character of UTF-8, one that is cut.
constexpr const char* kBytes = "f\xFC\xC3\xBCr\xE2\x82.mka";
constexpr const char16_t* kName = u"f\xDCFC\u00FCr\xDCE2\xDC82.mka";

TEST(NamesPosix, ThatAreNoUtf8AreDecodedTaggedAndLogged) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.mka", 0.5, {"-c:a", "flac"});
    const std::string samples = kit::ReferenceSamples(kit::Utf8(folder / "x.mka"));
    std::filesystem::rename(folder / "x.mka", folder.path() / kBytes);
    const std::u16string path = folder.path().u16string() + u"/" + kName;

    kit::TestDecoder decoder(plugin);
    const std::string blob = kit::MakeBlob({{"TITLE", "written", ""}});
    alignas(8) DecoderParam param{};
    param.text = path.c_str();
    param.data = blob.data();
    param.value = static_cast<std::int32_t>(blob.size());
    EXPECT_EQ(plugin.Set(decoder.get(), DECODER_SET_TAGS, &param), 1) << decoder.ErrorLog();

    DecoderOpenInfo record{};
    record.path = path.c_str();
    record.flags = DECODER_OPEN_TAGS;
    ASSERT_EQ(plugin.Open(decoder.get(), &record), 1) << decoder.ErrorLog();
    EXPECT_EQ(kit::ValueOf(kit::ParseBlob(record.tags, record.tagsSize), "TITLE"), "written");
    EXPECT_TRUE(decoder.ReadAll() == samples);

    // What is told of a file that isn't there names it as it was given.
    std::filesystem::remove(folder.path() / kBytes);
    EXPECT_EQ(plugin.Open(decoder.get(), &record), 0);
    const Answer failure = AskFailure(plugin, decoder);
    EXPECT_EQ(failure.value, DECODER_FAILURE_FILE_NOT_FOUND);
    EXPECT_NE(failure.text.find(path), std::u16string::npos);
    EXPECT_NE(Ask(plugin, decoder, DECODER_GET_WORKER_MESSAGES).text.find(path), std::u16string::npos);
}

TEST(NamesPosix, ThatAreTooLongAreTold) {
    const kit::Plugin plugin;
    kit::TestDecoder decoder(plugin);
    EXPECT_FALSE(decoder.Open(std::string(300, 'n') + ".tta"));
    EXPECT_EQ(AskFailure(plugin, decoder).value, DECODER_FAILURE_NOT_OPENED);
}

// Surrogates that stand for no byte, and a tag's text, are no names of other files.
TEST(NamesPosix, EscapesAreForNamesAlone) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const std::filesystem::path file = folder / "x.tta";
    kit::WriteFile(file, std::string(1000, 'a'));
    kit::TestDecoder decoder(plugin);
    std::string blob = kit::MakeBlob({{"Title", "?", ""}});
    const std::size_t value = blob.size() - 4;
    blob.replace(value, 2, "\xFC\xDC");
    const std::u16string path = file.u16string();
    alignas(8) DecoderParam param{};
    param.text = path.c_str();
    param.data = blob.data();
    param.value = static_cast<std::int32_t>(blob.size());
    ASSERT_EQ(plugin.Set(decoder.get(), DECODER_SET_TAGS, &param), 1);
    EXPECT_NE(kit::ReadFile(file).find(std::string("Title\0\xEF\xBF\xBD", 9)), std::string::npos);

    for (const char16_t unit : {u'\xDC7F', u'\xDD00', u'\xD800'}) {
        const std::u16string other = folder.path().u16string() + u"/" + unit;
        kit::WriteFile(folder / "\x7F", "x");
        DecoderOpenInfo record{};
        record.path = other.c_str();
        EXPECT_EQ(plugin.Open(decoder.get(), &record), 0);
        EXPECT_EQ(AskFailure(plugin, decoder).value, DECODER_FAILURE_FILE_NOT_FOUND);
    }
}

// The system throws away what a child left when nobody wants to hear of its end.
TEST(FailuresPosix, ExitCodesThatNobodyKeepsAreUnknown) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.wav", 0.1);
    kit::TestDecoder decoder(plugin);
    const auto before = signal(SIGCHLD, SIG_IGN);
    const bool opened = decoder.Open(folder / "x.wav");
    decoder.ReadAll();
    const bool given = Ask(plugin, decoder, DECODER_GET_WORKER_EXIT).given;
    decoder.Close();
    signal(SIGCHLD, before);
    EXPECT_TRUE(opened);
    EXPECT_FALSE(given);
}

TEST(FailuresPosix, FullDisksHaveTheirNumber) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.mka", 0.5, {"-c:a", "flac"});
    kit::WriteFile(folder / "x.tta", std::string(5000, 'a'));
    for (const char* name : {"x.tta", "x.mka"}) {
        SCOPED_TRACE(name);
        const std::filesystem::path file = folder / name;
        kit::TestDecoder decoder(plugin);
        rlimit old{};
        getrlimit(RLIMIT_FSIZE, &old);
        rlimit limited = old;
        limited.rlim_cur = std::filesystem::file_size(file) + 400;
        setrlimit(RLIMIT_FSIZE, &limited);
        const bool written = decoder.WriteTags(file, {{"Title", std::string(100000, 'x'), ""}});
        setrlimit(RLIMIT_FSIZE, &old);
        EXPECT_FALSE(written);
        EXPECT_EQ(AskFailure(plugin, decoder).value, DECODER_FAILURE_DISK_FULL);
    }
}

}  // namespace
