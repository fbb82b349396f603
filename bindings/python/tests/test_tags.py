import os

import mutagen.apev2
import mutagen.id3
import pytest

from decoder_plugin import DecoderError, Failure, Picture, Tags

PNG = bytes.fromhex(
    "89504e470d0a1a0a0000000d4948445200000001000000010806000000" "1f15c4890000000a49444154789c6300010000050001"
    "0d0a2db40000000049454e44ae426082"
)


@pytest.mark.parametrize("name", ["a.tta", "a.mka"])
def test_what_is_written_is_read_back_and_can_be_deleted(plugin, make_file, name):
    path = make_file(name)
    plugin.write_tags(path, Tags({"Title": "Grüße 音", "Artist": ["One", "Two"]}, [Picture.front(PNG)]))
    tags = plugin.read_tags(path)
    assert tags["title"] == "Grüße 音"
    assert tags.all("ARTIST") == ["One", "Two"]
    assert [(picture.type, picture.data) for picture in tags.pictures] == [("Front Album Cover", PNG)]
    plugin.delete_tags(path, ["Artist"])
    assert "Artist" not in plugin.read_tags(path) and plugin.read_tags(path)["Title"] == "Grüße 音"
    plugin.delete_tags(path)
    assert "Title" not in plugin.read_tags(path) and not plugin.read_tags(path).pictures


@pytest.mark.parametrize("name, kind", [("a.mka", "Matroska"), ("a.tta", "ID3v2")])
def test_one_picture_of_several(plugin, make_file, name, kind):
    path = make_file(name)
    if kind == "ID3v2":
        mutagen.apev2.delete(path)
        tags = mutagen.id3.ID3()
        tags.add(mutagen.id3.TIT2(encoding=0, text="t"))
        tags.save(path)
    front, back = "_albumart_1_Front Album Cover<subdesc>", "_albumart_2_Back Album Cover<subdesc>"
    one, two, three = PNG, PNG + b"2", PNG + b"3"
    pictures = [Picture(front + "one", one), Picture(front + "two", two), Picture(back + "three", three)]

    def held():
        return [picture.data for picture in plugin.read_tags(path).pictures]

    plugin.write_tags(path, Tags(pictures=pictures))
    assert held() == [one, two, three]
    plugin.write_tags(path, Tags(pictures=pictures[1:2]))
    assert held() == [two, three], "what is written replaces the pictures of its type and no others"
    plugin.delete_tags(path, [back + "no picture has this"])
    assert held() == [two]
    plugin.write_tags(path, Tags(pictures=pictures))
    plugin.delete_tags(path, [front + "one"])
    assert held() == [three], "a key names all pictures of its type"


def test_mutagen_reads_what_was_written_and_writes_what_is_read(plugin, make_file):
    path = make_file("a.tta")
    plugin.write_tags(path, {"Title": "A song", "Artist": ["One", "Two"]})
    theirs = mutagen.apev2.APEv2(path)
    assert theirs["Title"] == "A song" and list(theirs["Artist"]) == ["One", "Two"]
    theirs["Album"] = "Theirs"
    theirs.save()
    assert plugin.read_tags(path)["album"] == "Theirs"


def test_a_name_that_is_no_unicode_text(plugin, make_file):
    path = os.fsencode(make_file("a.tta"))
    odd = path.replace(b"a.tta", b"\xff\xe4.tta")
    os.rename(path, odd)
    plugin.write_tags(os.fsdecode(odd), {"Title": "t"})
    assert plugin.read_tags(os.fsdecode(odd))["Title"] == "t"


def test_failures_tell_their_kind(plugin, tmp_path):
    with pytest.raises(DecoderError) as unknown:
        plugin.write_tags(tmp_path / "a.flac", {"Title": "t"})
    assert unknown.value.failure is Failure.NOT_SUPPORTED
    with pytest.raises(DecoderError) as missing:
        plugin.delete_tags(tmp_path / "nothing.tta")
    assert missing.value.failure is Failure.FILE_NOT_FOUND


def test_the_mapping_and_its_flat_form():
    tags = Tags({"Artist": ["One", "Two"], "empty": ""}, [Picture.back(b"\0\0data")])
    again = Tags.from_blob(tags.to_blob())
    assert dict(again) == {"Artist": "One", "empty": ""} and again.all("artist") == ["One", "Two"]
    assert again.pictures == tags.pictures
    assert Tags.from_blob(tags.to_blob()[:-1]).all("Artist") == ["One", "Two"], "cut in the picture"
    for length in range(len(tags.to_blob())):
        Tags.from_blob(tags.to_blob()[:length])
    tags["ARTIST"] = "Three"
    assert list(tags) == ["ARTIST", "empty"]
    del tags["artist"]
    with pytest.raises(KeyError):
        tags["Artist"]
    with pytest.raises(ValueError):
        tags["a"] = "b\0c"
