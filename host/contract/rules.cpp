#include "host/contract/rules.h"

namespace host::contract {

namespace {

constexpr Rule kRules[] = {
    {"exports", "The library loads, and exports the nine functions and nothing else",
     "decoder_plugin.h, The nine functions", CheckExports},
    {"null-arguments", "A null decoder, record or key gives 0, and Destroy of null gives 1",
     "decoder_plugin.h, The nine functions", CheckNullArguments},
    {"tables", "The tables of Get end where they first give 0, and only known keys give 1",
     "decoder_plugin.h, Get", CheckTables},
    {"param-fields", "Get and Set change the fields of their key alone, and none when they give 0",
     "decoder_plugin.h, DecoderParam", CheckParamFields},
    {"order", "Close gives 1 at any time, DecodeBlock without a run gives 0, and runs may follow runs",
     "decoder_plugin.h, The order per decoder", CheckOrder},
    {"record-bounds", "No byte behind a record or text is touched, and none of what is const is written",
     "decoder_plugin.h, the records", CheckRecordBounds},
    {"borrowed-memory", "What a call was given isn't touched after the call",
     "decoder_plugin.h, the fields marked (in)", CheckBorrowedMemory},
    {"text-lifetime", "Texts of the tables live as long as the library is loaded",
     "decoder_plugin.h, DecoderParam", CheckTextLifetime},
    {"blob-lifetime", "Tags and information live until the next Open or Destroy",
     "decoder_plugin.h, DecoderOpenInfo", CheckBlobLifetime},
    {"sample-lifetime", "The samples of a block live until the next DecodeBlock",
     "decoder_plugin.h, DecoderBlockInfo", CheckSampleLifetime},
    {"open-record", "Open gives a format that holds together, and blobs that were asked for and no others",
     "decoder_plugin.h, DecoderOpenInfo", CheckOpenRecord},
    {"failed-open", "An Open that fails leaves no pointers, and the decoder goes on working",
     "decoder_plugin.h, DecoderOpenInfo", CheckFailedOpen},
    {"blocks", "Blocks have 4096 sample frames, the file's samples, their position and the format",
     "decoder_plugin.h, DecodeBlock", CheckBlocks},
    {"endings", "The end of a stream is a short or empty block, and no failure",
     "decoder_plugin.h, DecodeBlock", CheckEndings},
    {"seeks", "SetPosition goes on from that sample frame", "decoder_plugin.h, SetPosition", CheckSeeks},
    {"logs", "Logs get whole lines of UTF-16LE, behind what is there, and stay open",
     "decoder_plugin.h, DecoderCreateInfo", CheckLogs},
    {"quit-event", "While the quit event is set, by whichever process, waits end with a silent 0",
     "decoder_plugin.h, Set", CheckQuitEvent},
    {"tag-jobs", "A tag job that gives 1 has done it, and one that gives 0 leaves the file as it was",
     "decoder_plugin.h, Set and DeleteATag", CheckTagJobs},
    {"extensions", "Keys beyond the base contract do what they say, where Get \"Version\" gives 1",
     "decoder_plugin.h, Beyond the base contract", CheckExtensions},
    {"threads", "Decoders work side by side, and a decoder goes from thread to thread",
     "decoder_plugin.h, Threads", CheckThreads},
    {"rounds", "Rounds from Create to Destroy leave no handle, thread or memory behind",
     "decoder_plugin.h, Destroy", CheckRounds},
    {"unloading", "The library can be unloaded and loaded again, and nothing of it goes on",
     "hosting.md, Loading", CheckUnloading},
    {"exit", "Calls stay possible while the process exits", "decoder_plugin.h, Threads", CheckExit, true},
};

}  // namespace

std::span<const Rule> Rules() {
    return kRules;
}

}  // namespace host::contract
