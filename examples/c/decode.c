/*
 * decode PLUGIN INPUT OUTPUT.raw [START_SECONDS [ERROR_LOG]]
 *
 * The smallest whole host in C11: loads the plug-in, decodes a file or URL to bare samples as deep as they
 * are, can start in the middle, stops on Ctrl-C, and says why something failed. Builds for Linux and Windows
 * (MinGW); what differs between them stands in system_posix.c and system_windows.c.
 */
#include "decoder_plugin.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "system.h"

struct Plugin {
    DecoderCreateFunction Create;
    DecoderDestroyFunction Destroy;
    DecoderGetFunction Get;
    DecoderSetFunction Set;
    DecoderOpenFunction Open;
    DecoderCloseFunction Close;
    DecoderDecodeBlockFunction DecodeBlock;
    DecoderSetPositionFunction SetPosition;
};

/* [loading] */
static int LoadPlugin(const char* path, struct Plugin* plugin) {
    void* library = OpenLibrary(path); /* dlopen or LoadLibraryW, by a full path */
    if (library == NULL) return 0;
    struct {
        const char* name;
        void* function;
    } exports[] = {
        {DECODER_EXPORT_CREATE, &plugin->Create},
        {DECODER_EXPORT_DESTROY, &plugin->Destroy},
        {DECODER_EXPORT_GET, &plugin->Get},
        {DECODER_EXPORT_SET, &plugin->Set},
        {DECODER_EXPORT_OPEN, &plugin->Open},
        {DECODER_EXPORT_CLOSE, &plugin->Close},
        {DECODER_EXPORT_DECODE_BLOCK, &plugin->DecodeBlock},
        {DECODER_EXPORT_SET_POSITION, &plugin->SetPosition},
    };
    for (size_t i = 0; i < sizeof exports / sizeof *exports; ++i) {
        void* symbol = FindSymbol(library, exports[i].name);
        if (symbol == NULL) return 0;
        memcpy(exports[i].function, &symbol, sizeof symbol); /* C has no cast from data to functions */
    }
    return 1;
}
/* [loading] */

static int Failed(const struct Plugin* plugin, Decoder* decoder, const char* what) {
    DecoderParam reason = {0};
    fprintf(stderr, "%s", what);
    if (plugin->Get(decoder, DECODER_GET_LAST_FAILURE, &reason) && reason.text != NULL) {
        fprintf(stderr, ": ");
        PrintText(stderr, reason.text);
    }
    fprintf(stderr, "\n");
    return 0;
}

/* [decoding] */
static int DecodeTo(const struct Plugin* plugin, Decoder* decoder, const DecoderChar* input, double start,
                    FILE* output) {
    DecoderOpenInfo open = {.path = input, .flags = DECODER_OPEN_TAGS | DECODER_OPEN_INFO};
    if (!plugin->Open(decoder, &open)) return Failed(plugin, decoder, "can't be opened");
    const DecoderWaveFormat* wave = &open.format.wave;
    printf("%u Hz, %u channels, %u bits\n", (unsigned)wave->samplesPerSecond, (unsigned)wave->channels,
           (unsigned)wave->bitsPerSample);
    if (start > 0 && !plugin->SetPosition(decoder, (int64_t)(start * wave->samplesPerSecond)))
        return Failed(plugin, decoder, "can't start there");

    DecoderBlockInfo block;
    do {
        if (!plugin->DecodeBlock(decoder, &block)) return Failed(plugin, decoder, "decoding broke off");
        if (fwrite(block.samples, 1, block.bytes, output) != block.bytes) {
            perror("the output can't be written");
            return 0;
        }
    } while (!block.endOfStream && block.bytes > 0);

    /* A worker that died in mid-stream looks like an early end: its exit code tells. */
    DecoderParam worker = {0};
    if (plugin->Get(decoder, DECODER_GET_WORKER_EXIT, &worker) && worker.value != 0) {
        fprintf(stderr, "the file is damaged: the worker ended with code %d\n", (int)worker.value);
        return 0;
    }
    return 1;
}
/* [decoding] */

int main(int argc, char** argv) {
    if (argc < 4 || argc > 6) {
        fprintf(stderr, "usage: decode PLUGIN INPUT OUTPUT.raw [START_SECONDS [ERROR_LOG]]\n");
        return 2;
    }
    struct Plugin plugin;
    if (!LoadPlugin(argv[1], &plugin)) {
        fprintf(stderr, "%s can't be loaded or isn't a decoder plug-in\n", argv[1]);
        return 1;
    }
    DecoderChar* input = ToUtf16(argv[2]);
    FILE* output = fopen(argv[3], "wb");
    if (input == NULL || output == NULL) {
        fprintf(stderr, "%s can't be written\n", argv[3]);
        return 1;
    }

    DecoderCreateInfo logs = {0}; /* none */
    if (argc == 6) logs.errorLog = OpenLog(argv[5]);
    Decoder* decoder = plugin.Create(&logs);
    DecoderParam quit = {.text = MakeQuitEvent()}; /* a name; Ctrl-C sets the event from now on */
    if (decoder == NULL || quit.text == NULL || !plugin.Set(decoder, DECODER_SET_EVENT_QUIT, &quit)) return 1;

    /* [depth] */
    DecoderParam version = {0};
    const int extended = plugin.Get(decoder, DECODER_GET_VERSION, &version) == 1 && version.value >= 1;
    if (extended) {
        DecoderParam format = {.text = DECODER_SAMPLES_SOURCE};
        plugin.Set(decoder, DECODER_SET_SAMPLE_FORMAT, &format);
    }
    /* [depth] */

    int done = DecodeTo(&plugin, decoder, input, argc > 4 ? atof(argv[4]) : 0, output);
    plugin.Destroy(decoder);
    RemoveQuitEvent();
    if (fclose(output) != 0) done = 0;
    free(input);
    return done ? 0 : 1;
}
