// What hosts were compiled against years ago: sizes and offsets of the records, and the names of the
// functions. The table beside this file never changes; new rows may come.
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <map>
#include <string>

#include "decoder_plugin.h"

namespace {

template <typename Member, typename Record>
std::size_t SizeOf(Member Record::*) {
    return sizeof(Member);
}

using Contract = std::map<std::string, std::string>;

Contract Present() {
    Contract present;
    const auto add = [&present](const char* name, std::size_t offset, std::size_t size) {
        present[name] = std::to_string(offset) + " " + std::to_string(size);
    };
#define ADD_RECORD(record) add(#record, 0, sizeof(record))
#define ADD_FIELD(record, field) add(#record "." #field, offsetof(record, field), SizeOf(&record::field))
    ADD_RECORD(DecoderCreateInfo);
    ADD_FIELD(DecoderCreateInfo, errorLog);
    ADD_FIELD(DecoderCreateInfo, reserved);
    ADD_FIELD(DecoderCreateInfo, traceLog);
    ADD_RECORD(DecoderParam);
    ADD_FIELD(DecoderParam, index);
    ADD_FIELD(DecoderParam, value);
    ADD_FIELD(DecoderParam, untouched8);
    ADD_FIELD(DecoderParam, text);
    ADD_FIELD(DecoderParam, text2);
    ADD_FIELD(DecoderParam, untouched40);
    ADD_FIELD(DecoderParam, data);
    ADD_RECORD(DecoderWaveFormat);
    ADD_FIELD(DecoderWaveFormat, formatTag);
    ADD_FIELD(DecoderWaveFormat, channels);
    ADD_FIELD(DecoderWaveFormat, samplesPerSecond);
    ADD_FIELD(DecoderWaveFormat, averageBytesPerSecond);
    ADD_FIELD(DecoderWaveFormat, blockAlign);
    ADD_FIELD(DecoderWaveFormat, bitsPerSample);
    ADD_FIELD(DecoderWaveFormat, extraSize);
    ADD_FIELD(DecoderWaveFormat, validBitsPerSample);
    ADD_FIELD(DecoderWaveFormat, channelMask);
    ADD_FIELD(DecoderWaveFormat, subFormat);
    ADD_RECORD(DecoderFormat);
    ADD_FIELD(DecoderFormat, wave);
    ADD_FIELD(DecoderFormat, bitrate);
    ADD_FIELD(DecoderFormat, durationMs);
    ADD_FIELD(DecoderFormat, reserved);
    ADD_RECORD(DecoderOpenInfo);
    ADD_FIELD(DecoderOpenInfo, path);
    ADD_FIELD(DecoderOpenInfo, flags);
    ADD_FIELD(DecoderOpenInfo, format);
    ADD_FIELD(DecoderOpenInfo, reserved);
    ADD_FIELD(DecoderOpenInfo, tags);
    ADD_FIELD(DecoderOpenInfo, tagsSize);
    ADD_FIELD(DecoderOpenInfo, info);
    ADD_FIELD(DecoderOpenInfo, infoSize);
    ADD_RECORD(DecoderBlockInfo);
    ADD_FIELD(DecoderBlockInfo, samples);
    ADD_FIELD(DecoderBlockInfo, bytes);
    ADD_FIELD(DecoderBlockInfo, format);
    ADD_FIELD(DecoderBlockInfo, reserved);
    ADD_FIELD(DecoderBlockInfo, position);
    ADD_FIELD(DecoderBlockInfo, endOfStream);
#undef ADD_RECORD
#undef ADD_FIELD
    return present;
}

TEST(Contract, RecordsAreLaidOutAsEver) {
    std::ifstream table(CONTRACT_TABLE);
    ASSERT_TRUE(table.is_open());
    Contract committed;
    for (std::string name, offset, size; table >> name >> offset >> size;)
        committed[name] = offset + " " + size;
    EXPECT_EQ(Present(), committed);
}

}  // namespace
