#include <gtest/gtest.h>

#include <string>

#include "kit/plugin.h"

namespace {

TEST(Extension, TellsItsVersion) {
    const kit::Plugin plugin;
    kit::TestDecoder decoder(plugin);
    alignas(8) DecoderParam param{};
    ASSERT_EQ(plugin.Get(decoder.get(), DECODER_GET_VERSION, &param), 1);
    EXPECT_EQ(std::u16string(param.text), u"" DECODER_PROJECT_VERSION) << "the header and the build agree";
    EXPECT_EQ(param.value, DECODER_EXTENSION_SET);
}

}  // namespace
