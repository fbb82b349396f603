#include "host/doctor/tag_kinds.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "host/doctor/sound.h"
#include "host/doctor/specimens.h"
#include "host/files/whole_file.h"
#include "host/session/session.h"
#include "host/tags/comparison.h"
#include "host/tags/pictures.h"
#include "host/text/failure.h"

namespace host::doctor {

namespace {

constexpr const char* kOldTitle = "Before";
constexpr const char* kTitle = "A tone";

struct Kind {
    const char* name;
    const char* shown;      // what the plug-in's "ID Tag" begins with; empty where it has none
    const char* extension;  // of files that have such tags
    FileBytes front;        // an old tag on either side of the sound, of a kind that isn't made anew
    FileBytes sound;
    FileBytes back;
    bool holdsMore;      // than a title in ASCII: several artists, a picture
    bool comesOffClean;  // a deletion leaves the bytes that were there before the tag
};

Kind KindOf(TagKind kind) {
    switch (kind) {
        case TagKind::Id3v1:
            return {"ID3v1", "ID3v1", ".tta", {}, ToneAsWav(), Id3v1Tag(kOldTitle), false, true};
        case TagKind::Id3v2:
            return {"ID3v2", "ID3v2", ".tta", Id3v2Tag(kOldTitle), ToneAsWav(), {}, true, true};
        case TagKind::Ape:
            return {"APE", "APE", ".tta", {}, ToneAsWav(), {}, true, true};
        case TagKind::Matroska:
            break;
    }
    return {"Matroska", "", ".mka", {}, ToneAsMatroska(), {}, true, false};
}

Entries TagsFor(const Kind& kind) {
    Entries tags = {{"Title", kTitle, {}}};
    if (kind.holdsMore) {
        tags.push_back({"Artist", std::string("Eins") + kValueSeparator + "Zw\xC3\xB6lf", {}});
        tags.push_back({BuildPictureName(1, PictureTypeFromWord("front"), ""), "", SmallPicture()});
    }
    return tags;
}

bool Holds(const FileBytes& bytes, std::string_view text) {
    const std::string_view all(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return all.find(text) != std::string_view::npos;
}

// One kind of tag in one file. The steps throw Failure.
class Trial {
  public:
    Trial(const Context& context, Kind kind, std::string file, bool hasWorker)
        : session_(context), kind_(std::move(kind)), file_(std::move(file)), hasWorker_(hasWorker) {}

    void Prepare() const { WriteFile({kind_.front, kind_.sound, kind_.back}); }

    void Run() {
        const bool hasOldTag = !kind_.front.empty() || !kind_.back.empty();
        if (hasOldTag) RequireRead({{"Title", kOldTitle, {}}});
        const Entries tags = TagsFor(kind_);
        session_.WriteTags(file_, tags);
        const FileBytes tagged = Bytes();
        if (!kind_.back.empty()) {
            // An APE tag was made beside it and would be read first: the old kind has to show alone.
            WriteFile(
                {kind_.sound, {tagged.end() - static_cast<std::ptrdiff_t>(kind_.back.size()), tagged.end()}});
        }
        RequireRead(tags);
        WriteWholeFile(file_, tagged);
        session_.DeleteTags(file_, {});
        RequireGone();
    }

  private:
    void WriteFile(const std::vector<FileBytes>& parts) const {
        FileBytes whole;
        for (const FileBytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
        WriteWholeFile(file_, whole);
    }

    FileBytes Bytes() const {
        constexpr std::uintmax_t kMost = 1 << 24;
        return ReadWholeFile(file_, kMost);
    }

    // Through the plug-in, with the sound still the same.
    OpenedFile Read() {
        OpenedFile opened = session_.Open(file_, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
        const std::string difference = DifferenceFromTone(session_, 0);
        session_.Close();
        if (!difference.empty()) throw Failure("the sound of a tagged file is damaged: " + difference);
        return opened;
    }

    void RequireRead(const Entries& tags) {
        if (!hasWorker_) {
            if (!Holds(Bytes(), tags.front().value))
                throw Failure("a tag that was written isn't in the file");
            return;
        }
        const OpenedFile opened = Read();
        const std::vector<std::string> differences = Differences(tags, opened.tags);
        if (!differences.empty()) throw Failure(differences.front());
        const Entry* const shown = FindText(opened.info, "ID Tag");
        const std::string found = shown == nullptr ? "" : shown->value;
        if (found.compare(0, std::string_view(kind_.shown).size(), kind_.shown) != 0) {
            throw Failure("the file's tags read as \"" + found + "\"");
        }
    }

    void RequireGone() {
        if (kind_.comesOffClean && Bytes() != kind_.sound)
            throw Failure("a deletion changes more than the tags");
        if (hasWorker_ && FindText(Read().tags, "Title") != nullptr)
            throw Failure("a deleted tag is still there");
    }

    Session session_;
    const Kind kind_;
    const std::string file_;
    const bool hasWorker_;
};

}  // namespace

std::string SubjectOf(TagKind kind) {
    return std::string(KindOf(kind).name) + " tags";
}

Finding CheckTags(TagKind kind, const Context& context, const TemporaryFolder& folder, bool hasWorker) {
    const std::string file = folder.File(std::string("tags") + KindOf(kind).extension);
    Trial trial(context, KindOf(kind), file, hasWorker);
    trial.Prepare();
    try {
        trial.Run();
    } catch (const Failure& failure) {
        return {SubjectOf(kind), Verdict::Wrong,
                failure.what() + std::string("; install decoder_ffmpeg anew, or report it")};
    }
    return {SubjectOf(kind), Verdict::Ok,
            hasWorker ? "written, read back and deleted"
                      : "written, found in the file and deleted (to read them takes a worker)"};
}

}  // namespace host::doctor
