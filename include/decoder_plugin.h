/*
 * The border between an audio application (the host) and the decoder plug-in decoder_ffmpeg.
 *
 * Plain C, usable alone from C11 and C++11 on. A host loads the library, looks up the nine functions by
 * their DECODER_EXPORT_* names and calls them through the DecoderXxxFunction types below.
 *
 * Text crosses the border as NUL-terminated UTF-16LE. All records are packed: several fields are
 * unaligned, and the offsets asserted below are the contract.
 *
 * Threads: one decoder belongs to one thread at a time; the host may hand it from thread to thread
 * between calls. Different decoders may run side by side. Nothing here may be called from a signal
 * handler, and no thread may be cancelled (pthread_cancel) while it is inside a call. No function lets a
 * C++ exception out. Calls stay possible while the process exits: in destructors of static objects, in
 * atexit handlers, and in threads that go on while main returns.
 *
 * Forks (Linux): a decoder belongs to the process that made it. In a child made by fork no function may be
 * called for a decoder of the parent's, not even Destroy; the child may load and create its own. What the
 * parent's decoders have open is closed in the child.
 *
 * The order per decoder: Create, optionally Set("EventQuit"), then any number of runs, each of Open,
 * DecodeBlock and SetPosition in any mix and Close, and finally Destroy. Get, Set("IDTags") and
 * DeleteATag need only a live decoder and may come outside a run.
 */
#ifndef DECODER_PLUGIN_H
#define DECODER_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

/* The version of the plug-in that this header belongs to. The plug-in that was loaded tells its own with
 * "Version". */
#define DECODER_PLUGIN_VERSION_MAJOR 0
#define DECODER_PLUGIN_VERSION_MINOR 2
#define DECODER_PLUGIN_VERSION_PATCH 0

#ifdef __cplusplus
extern "C" {
typedef char16_t DecoderChar;
#define DECODER_ASSERT(condition, text) static_assert(condition, text)
#else
typedef uint_least16_t DecoderChar;
#define DECODER_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* The object that Create gives and every other function takes first. Opaque to the host. */
typedef struct Decoder Decoder;

/* DecoderOpenInfo.flags */
#define DECODER_OPEN_EXTERNAL_PACKETS 0x02u /* decode external packets; always refused */
#define DECODER_OPEN_TAGS 0x08u             /* the host wants the tag blob */
#define DECODER_OPEN_INFO 0x10u             /* the host wants the information blob */

/* Keys of Get, compared exactly and with case. There are more under "Beyond the base contract". */
#define DECODER_GET_DECODES u"Decodes"
#define DECODER_GET_STREAMING_DECODES u"StreamingDecodes"
#define DECODER_GET_DESCRIPTION u"Decoder Description"
#define DECODER_GET_CAN_WRITE_TAGS u"CanWriteIDTags"

/* Keys of Set, compared exactly and with case. */
#define DECODER_SET_EVENT_QUIT u"EventQuit"
#define DECODER_SET_TAGS u"IDTags"

/* Given to Create, which copies it. A log word is an open, appendable file of the host's: a file
 * descriptor on Linux, a HANDLE on Windows; 0 and all ones mean "no log". The plug-in only writes
 * to it (UTF-16LE lines that end in CR LF, no byte order mark) and never closes it: the file must
 * stay open until the decoder is destroyed. */
#pragma pack(push, 1)
typedef struct DecoderCreateInfo {
    uint64_t errorLog;
    uint64_t reserved;
    uint64_t traceLog;
} DecoderCreateInfo;

/* The record of Get and Set. Each key uses only the fields named with it; the others stay as they
 * were. Pointers that Get returns live as long as the library is loaded. */
typedef struct DecoderParam {
    uint32_t index; /* row of a table, from 0 (in) */
    int32_t value;  /* a number (in or out) */
    uint8_t untouched8[16];
    const DecoderChar* text;  /* (in or out) */
    const DecoderChar* text2; /* (out) */
    uint8_t untouched40[8];
    const void* data; /* bytes (in) */
} DecoderParam;

/* The layout of WAVEFORMATEXTENSIBLE. The extension is zero unless formatTag is 0xFFFE and extraSize
 * at least 22. */
typedef struct DecoderWaveFormat {
    uint16_t formatTag; /* 1 PCM, 3 IEEE float, 0xFFFE extensible, ... */
    uint16_t channels;
    uint32_t samplesPerSecond;      /* sample frames per second */
    uint32_t averageBytesPerSecond; /* never 0 after a successful Open */
    uint16_t blockAlign;            /* bytes of one sample frame; never 0 after a successful Open */
    uint16_t bitsPerSample;
    uint16_t extraSize;
    uint16_t validBitsPerSample; /* from here on the extension */
    uint32_t channelMask;
    uint8_t subFormat[16];
} DecoderWaveFormat;

typedef struct DecoderFormat {
    DecoderWaveFormat wave;
    uint32_t bitrate;   /* bits per second as the worker reports it; 0 unknown */
    int64_t durationMs; /* milliseconds as the worker reports it; 0 unknown */
    uint8_t reserved[12];
} DecoderFormat;

/* The record of Open. Both blobs live until the next Open of the same decoder or its Destroy. tags, tagsSize,
 * info and infoSize are null and 0 when the blob wasn't asked for and after an Open that failed. */
typedef struct DecoderOpenInfo {
    const DecoderChar* path; /* path or URL (in) */
    uint32_t flags;          /* DECODER_OPEN_* (in) */
    DecoderFormat format;    /* (out) */
    uint32_t reserved;       /* (out) always 0 */
    const void* tags;        /* tag blob (out, with DECODER_OPEN_TAGS) */
    uint32_t tagsSize;       /* bytes (out) */
    const void* info;        /* information blob (out, with DECODER_OPEN_INFO) */
    uint32_t infoSize;       /* bytes (out) */
} DecoderOpenInfo;

/* The record of DecodeBlock. */
typedef struct DecoderBlockInfo {
    const void* samples;  /* interleaved little-endian samples (out), until the next DecodeBlock */
    uint32_t bytes;       /* valid bytes at samples (out), at most blockAlign * 4096 */
    DecoderFormat format; /* (out) repeated with every block */
    uint32_t reserved;    /* (out) always 0 */
    uint64_t position;    /* (out) milliseconds decoded since the last start, plus the sample frame
                             given to the last SetPosition (0 after Open): the sum of unlike units */
    int32_t endOfStream;  /* (out) 1 when fewer bytes came than were asked for, else 0 */
} DecoderBlockInfo;
#pragma pack(pop)

/*
 * A blob (tags, information) is little-endian and unaligned: a u32 count of entries, then per entry
 * a u32 length of the whole entry in bytes, the name and the value as NUL-terminated UTF-16LE, and
 * what is left of the length as binary data (a picture's file bytes, say). Several values of one name
 * are joined by U+000D inside the value. A name that begins with "_" is a convention between host and
 * plug-in and no text for the user.
 */

DECODER_ASSERT(sizeof(void*) == 8, "the contract is for 64-bit processes");
DECODER_ASSERT(sizeof(DecoderCreateInfo) == 24, "size of DecoderCreateInfo");
DECODER_ASSERT(offsetof(DecoderCreateInfo, reserved) == 8, "reserved");
DECODER_ASSERT(offsetof(DecoderCreateInfo, traceLog) == 16, "traceLog");
DECODER_ASSERT(sizeof(DecoderParam) == 56, "size of DecoderParam");
DECODER_ASSERT(offsetof(DecoderParam, value) == 4, "value");
DECODER_ASSERT(offsetof(DecoderParam, text) == 24, "text");
DECODER_ASSERT(offsetof(DecoderParam, text2) == 32, "text2");
DECODER_ASSERT(offsetof(DecoderParam, data) == 48, "data");
DECODER_ASSERT(sizeof(DecoderWaveFormat) == 40, "size of DecoderWaveFormat");
DECODER_ASSERT(offsetof(DecoderWaveFormat, extraSize) == 16, "extraSize");
DECODER_ASSERT(offsetof(DecoderWaveFormat, subFormat) == 24, "subFormat");
DECODER_ASSERT(sizeof(DecoderFormat) == 64, "size of DecoderFormat");
DECODER_ASSERT(offsetof(DecoderFormat, bitrate) == 40, "bitrate");
DECODER_ASSERT(offsetof(DecoderFormat, durationMs) == 44, "durationMs");
DECODER_ASSERT(offsetof(DecoderFormat, reserved) == 52, "reserved");
DECODER_ASSERT(sizeof(DecoderOpenInfo) == 104, "size of DecoderOpenInfo");
DECODER_ASSERT(offsetof(DecoderOpenInfo, flags) == 8, "flags");
DECODER_ASSERT(offsetof(DecoderOpenInfo, format) == 12, "format");
DECODER_ASSERT(offsetof(DecoderOpenInfo, reserved) == 76, "reserved");
DECODER_ASSERT(offsetof(DecoderOpenInfo, tags) == 80, "tags");
DECODER_ASSERT(offsetof(DecoderOpenInfo, tagsSize) == 88, "tagsSize");
DECODER_ASSERT(offsetof(DecoderOpenInfo, info) == 92, "info");
DECODER_ASSERT(offsetof(DecoderOpenInfo, infoSize) == 100, "infoSize");
DECODER_ASSERT(sizeof(DecoderBlockInfo) == 92, "size of DecoderBlockInfo");
DECODER_ASSERT(offsetof(DecoderBlockInfo, bytes) == 8, "bytes");
DECODER_ASSERT(offsetof(DecoderBlockInfo, format) == 12, "format");
DECODER_ASSERT(offsetof(DecoderBlockInfo, reserved) == 76, "reserved");
DECODER_ASSERT(offsetof(DecoderBlockInfo, position) == 80, "position");
DECODER_ASSERT(offsetof(DecoderBlockInfo, endOfStream) == 88, "endOfStream");

/*
 * The nine functions, under these names in the library. 1 is success and 0 failure; a null decoder
 * gives 0 (Destroy: 1), and so does a null record or key.
 */
#define DECODER_EXPORT_CREATE "Create"
#define DECODER_EXPORT_DESTROY "Destroy"
#define DECODER_EXPORT_GET "Get"
#define DECODER_EXPORT_SET "Set"
#define DECODER_EXPORT_OPEN "Open"
#define DECODER_EXPORT_CLOSE "Close"
#define DECODER_EXPORT_DECODE_BLOCK "DecodeBlock"
#define DECODER_EXPORT_SET_POSITION "SetPosition"
#define DECODER_EXPORT_DELETE_A_TAG "DeleteATag"

/* Create: a new decoder, owned by the host until Destroy. Null when memory is exhausted. */
typedef Decoder* (*DecoderCreateFunction)(const DecoderCreateInfo* info);

/* Destroy: terminates a worker that still runs at once, then frees the decoder and all that it handed
 * out. Always 1. */
typedef int64_t (*DecoderDestroyFunction)(Decoder* decoder);

/* Get, by key:
 *   "Decodes"             in index; out text = extension with its dot, text2 = description; 0 from the
 *                         first row behind the table on, so enumerate from 0 until 0
 *   "StreamingDecodes"    in index; out text = MIME type; ends in the same way
 *   "Decoder Description" out text
 *   "CanWriteIDTags"      in text = path; out value = 1 when the extension can be tagged, else 0
 * 0 for an unknown key or row, the record then being as it was. */
typedef int64_t (*DecoderGetFunction)(Decoder* decoder, const DecoderChar* key, DecoderParam* param);

/* Set, by key:
 *   "EventQuit" in text = name of an event of the host's. While it is set, every blocking wait of this
 *               decoder's Open, SetPosition and DecodeBlock ends at once with a silent 0: nothing in the
 *               error log. The end of an old worker, which Open and SetPosition see to first, isn't one of
 *               these waits. On Windows the name of a manual-reset event; on Linux that of a FIFO: a name
 * that begins with "/" is its path, any other lies in /dev/shm; it is set while it holds a byte. It is
 * created when absent, and whoever made it removes it. A null text changes nothing and gives 1. "IDTags" in
 * text = path, data = tag blob, value = its bytes: writes the file's tags. 0 for an unknown key. */
typedef int64_t (*DecoderSetFunction)(Decoder* decoder, const DecoderChar* key, DecoderParam* param);

/* Open: starts a worker on path and reads the format; blocks until the worker delivered the stream's
 * header, ended, or the quit event came. A run that is still going is stopped first, as by Close: that may
 * take 2 seconds, also when the quit event is set. After a 0 the run
 * may still hold a worker; the next Open, SetPosition, Close or Destroy cleans up. */
typedef int64_t (*DecoderOpenFunction)(Decoder* decoder, DecoderOpenInfo* info);

/* Close: ends the run; a worker that doesn't end by itself is terminated after 2 seconds. Always 1. */
typedef int64_t (*DecoderCloseFunction)(Decoder* decoder);

/* DecodeBlock: the next 4096 sample frames, fewer only at the end. The end of the stream is no failure:
 * the last block is short or empty, with endOfStream 1 and result 1. Blocks without a time limit. */
typedef int64_t (*DecoderDecodeBlockFunction)(Decoder* decoder, DecoderBlockInfo* block);

/* SetPosition: goes on from the given sample frame, counted at the stream's sample rate; 0 and below are
 * the beginning. A position behind the end gives an empty stream, but for formats in which FFmpeg can't
 * find the place: Ogg, MPEG-TS and raw E-AC-3 then give the last part of the stream or all of it. Stops the
 * old worker and starts a new one, like Open, and blocks like it. */
typedef int64_t (*DecoderSetPositionFunction)(Decoder* decoder, int64_t position);

/* DeleteATag: deletes from the file the tags whose names stand in names, a series of NUL-terminated
 * strings that an empty string ends; null deletes all tags. */
typedef int64_t (*DecoderDeleteATagFunction)(Decoder* decoder, const DecoderChar* path,
                                             const DecoderChar* names);

/*
 * Beyond the base contract
 *
 * Keys for what a host may want besides. A host asks once with Get "Version"; where that gives 0, it goes
 * without them. A host that uses none of them meets the base contract alone, to the byte of every log line
 * and of the worker's command line.
 *
 * All of them belong to one decoder and follow its rule for threads. A text that one of these Gets hands out
 * lives until the next Get of the same key or the next call of another function than Get on this decoder
 * (that of "Version" as long as the library is loaded).
 */

/* Get "Version": out text = the plug-in's version as "MAJOR.MINOR.PATCH", value = the number of the extension
 * set that it has, from 1. A later set has all that an earlier one had. */
#define DECODER_GET_VERSION u"Version"
#define DECODER_EXTENSION_SET 1 /* the set that this header describes */

/* Set "SampleFormat", in text = one of the words below: the format of the samples from the next Open on,
 * through its seeks too, until it is set again. 0 for any other word, with nothing changed. A run that goes
 * on keeps the format that it was opened with. */
#define DECODER_SET_SAMPLE_FORMAT u"SampleFormat"
#define DECODER_SAMPLES_DEFAULT u"default" /* at first: as the base contract has it, which is 16 bit */
#define DECODER_SAMPLES_S16 u"s16"         /* signed integers, little-endian, of 16, 24 or 32 bits */
#define DECODER_SAMPLES_S24 u"s24"
#define DECODER_SAMPLES_S32 u"s32"
#define DECODER_SAMPLES_F32 u"f32" /* IEEE floating point, little-endian, full scale 1.0 */
#define DECODER_SAMPLES_F64 u"f64"
/* As deep as the source: s16 up to 16 bits, s24 up to 24, s32 up to 32, f32 for float, f64 for what is deeper
 * still, and f32 for lossy codecs that decode to float. A source that isn't of 16 bits costs a second start
 * of the worker in Open. Without a word on the source's depth as "default". */
#define DECODER_SAMPLES_SOURCE u"source"

/* Set "AudioStream", in value = which of the file's audio streams the next Open takes, from 0 in the order of
 * the file; -1, as at first, leaves the choice to the worker. Holds until it is set again. 0 for a number
 * below -1, with nothing changed. Open fails when there is no such stream, with a message that says how many
 * there are. */
#define DECODER_SET_AUDIO_STREAM u"AudioStream"

/* Get "LastFailure", about the last Open, SetPosition, DecodeBlock, Set or DeleteATag of this decoder: out
 * text = why it gave 0, in words for the user without a full path to the code, null when it gave 1 (and
 * before the first such call); value = a DecoderFailure. Get and Close don't change it. */
#define DECODER_GET_LAST_FAILURE u"LastFailure"

/* Get "WorkerExit", after the last block or a failed Open: out value = the worker's exit code, on Linux the
 * negative number of the signal that ended it. Once the stream is at its end it waits for the worker, at most
 * the 2 seconds that Close would, and no longer than until the quit event is set. 0 as result, the record
 * being as it was, while the worker runs, when its code can't be known (a host on Linux that ignores SIGCHLD
 * or reaps all children itself), after Close and before the first Open. */
#define DECODER_GET_WORKER_EXIT u"WorkerExit"

/* Get "WorkerMessages": out text = the last 4 KiB (as UTF-8) of what the worker of this run wrote on its
 * error channel behind its dump of the input, in whole lines, each with a U+000A; without progress reports.
 * Empty when it said nothing. Once the stream is at its end it waits like "WorkerExit" for the last words. 0
 * as result after Close and before the first Open. Wording and language are the worker's. */
#define DECODER_GET_WORKER_MESSAGES u"WorkerMessages"

/* Get "SourceStream", in index = an audio stream of the file that was opened last, from 0 in the order of the
 * file: out text = its codec, text2 = what else the worker says of it, as "96000 Hz, stereo, s32 (24 bit)".
 * 0 behind the last stream, so enumerate from 0 until 0; before the first Open, and after one that failed.
 * The wording is the worker's. */
#define DECODER_GET_SOURCE_STREAM u"SourceStream"

/* Get "DurationEstimated": out value = 1 when the worker guessed the duration of the file that was opened
 * last from its bitrate, as it does where a file doesn't tell how long it is, else 0. What decodes may then
 * be much shorter or longer without anything being wrong. 0 as result before the first Open and after one
 * that failed. */
#define DECODER_GET_DURATION_ESTIMATED u"DurationEstimated"

/* Why a call failed. The numbers are stable, later versions may add some: take an unknown one like OTHER. */
typedef enum DecoderFailure {
    DECODER_FAILURE_NONE = 0,
    DECODER_FAILURE_OTHER = 1,
    DECODER_FAILURE_INVALID_ARGUMENT = 2, /* null or empty where something is needed, a number out of range */
    DECODER_FAILURE_NOT_SUPPORTED = 3, /* an unknown key or word, external packets, no tags of this format */
    DECODER_FAILURE_NOT_OPEN = 4,      /* DecodeBlock without a worker */
    DECODER_FAILURE_ABORTED = 5,       /* the quit event is set */
    DECODER_FAILURE_OUT_OF_MEMORY = 6,
    DECODER_FAILURE_NO_RESOURCES = 7,    /* no thread, event or pipe to be had */
    DECODER_FAILURE_QUIT_EVENT = 8,      /* Set "EventQuit": no event of that name can be opened */
    DECODER_FAILURE_WORKER_MISSING = 16, /* there is no program where the worker should be */
    DECODER_FAILURE_WORKER_NOT_STARTED = 17,
    DECODER_FAILURE_FILE_NOT_FOUND = 32,
    DECODER_FAILURE_NO_ACCESS = 33,        /* not allowed, in use, a folder */
    DECODER_FAILURE_NOT_OPENED = 34,       /* the file can't be opened for another reason */
    DECODER_FAILURE_NOT_DECODABLE = 35,    /* the worker made no audio of it; "WorkerMessages" may tell why */
    DECODER_FAILURE_NO_SUCH_STREAM = 36,   /* the one of "AudioStream" isn't there */
    DECODER_FAILURE_READ_FAILED = 37,      /* reading from the worker broke off */
    DECODER_FAILURE_TAG_UNREADABLE = 48,   /* Open with tags or information: the file's own tags */
    DECODER_FAILURE_TAG_NOT_WRITABLE = 49, /* a tag job: the tag can't be changed */
    DECODER_FAILURE_DISK_FULL = 50         /* a tag job: no room, or more than the user may have */
} DecoderFailure;

#ifdef __cplusplus
}
#endif

#endif
