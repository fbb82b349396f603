// Decoding over HTTP, from a server on loopback. The server is python3's own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "extensions.h"
#include "kit/plugin.h"
#include "kit/tools.h"
#include "transport/worker_process.h"

namespace {

// Serves a folder while it lives.
class WebServer {
  public:
    explicit WebServer(const std::filesystem::path& folder) {
        WorkerCommand command;
        command.exe = "/usr/bin/env";
        command.args = {"env", "python3", "-u",        "-m",          "http.server",
                        "0",   "--bind",  "127.0.0.1", "--directory", folder.string()};
        command.stdoutMode = platform::ChannelMode::Pipe;
        process_.Start(command);
        // "Serving HTTP on 127.0.0.1 port 12345 ..."
        std::string line;
        for (char byte = 0; process_.stdoutStream.read(&byte, 1) == 1 && byte != '\n';) line += byte;
        port_ = std::atoi(line.substr(line.find("port ") + 5).c_str());
    }
    ~WebServer() { process_.Terminate(); }

    std::string Url(const std::string& name) const {
        return "http://127.0.0.1:" + std::to_string(port_) + "/" + name;
    }

  private:
    WorkerProcess process_;
    int port_ = 0;
};

TEST(UrlPosix, DecodesFromAServer) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    kit::MakeAudio(folder / "x.mka", 1, {"-c:a", "flac"});
    kit::MakeAudio(folder / "x.ogg", 1, {"-c:a", "libvorbis"});
    const WebServer server(folder.path());
    kit::TestDecoder decoder(plugin);
    ASSERT_TRUE(decoder.Open(server.Url("x.ogg"))) << decoder.ErrorLog();
    EXPECT_TRUE(decoder.ReadAll() == kit::ReferenceSamples(kit::Utf8(folder / "x.ogg")));
    EXPECT_FALSE(decoder.Open(server.Url("missing.ogg")));
    EXPECT_EQ(decoder.ErrorLog(), "File could not be decoded  [clDecoder_ffmpeg::SetPosition]\r\n");
    ASSERT_TRUE(decoder.Open(server.Url("x.mka"), 0));
    EXPECT_TRUE(decoder.ReadAll() == kit::ReferenceSamples(kit::Utf8(folder / "x.mka")));
}

TEST(UrlPosix, TellsWhatTheServerAnswered) {
    const kit::Plugin plugin;
    const kit::TempFolder folder;
    const WebServer server(folder.path());
    kit::TestDecoder decoder(plugin);
    EXPECT_FALSE(decoder.Open(server.Url("missing.ogg")));
    const Answer failure = AskFailure(plugin, decoder);
    EXPECT_EQ(failure.value, DECODER_FAILURE_NOT_DECODABLE);
    EXPECT_EQ(failure.text, u"File could not be decoded");
    const Answer exit = Ask(plugin, decoder, DECODER_GET_WORKER_EXIT);
    EXPECT_TRUE(exit.given);
    EXPECT_NE(exit.value, 0);
    const Answer messages = Ask(plugin, decoder, DECODER_GET_WORKER_MESSAGES);
    EXPECT_NE(messages.text.find(u"404"), std::u16string::npos);
}

}  // namespace
