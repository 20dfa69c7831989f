// What is read from tags of every format, in the encodings that programs write.

#include <gmock/gmock.h>

#include <string>

#include "platform/tags/TaggedFile.h"
#include "tests/platform/tags/TagBytes.h"

namespace tolvane::test {
namespace {

using namespace std::string_literals;

const MusicTags everything{.title = "Vespers", .artist = "Ilse Brandt", .album = "Slow Water", .trackNumber = 6};

MusicTags tagsIn(const ByteVector& bytes) { return readMusicTags(MemorySource(bytes)); }
std::optional<Cover> coverIn(const ByteVector& bytes) { return readEmbeddedCover(MemorySource(bytes)); }

ByteVector framesOfEverything(int version) {
  return joined({id3Frame("TIT2", id3Text(0, "Vespers"), version), id3Frame("TPE1", id3Text(0, "Ilse Brandt"), version),
                 id3Frame("TALB", id3Text(0, "Slow Water"), version), id3Frame("TRCK", id3Text(0, "06/12"), version)});
}

ByteVector samples() { return ByteVector(64, std::byte{1}); }

ByteVector wavWith(std::string_view id, const ByteVector& chunk) {
  return WavFile().format(1, 2, 44100, 4, 16).chunk("data", samples()).chunk(id, chunk).bytes();
}

ByteVector mp3With(const ByteVector& tag) { return joined({tag, textBytes("\xFF\xFB\x90\x64"), samples()}); }

TEST(MusicTagsOfFiles, FlacCommentsAreRead) {
  EXPECT_EQ(tagsIn(flacWith(
                {{4, vorbisComment({"title=Vespers", "ARTIST=Ilse Brandt", "Album=Slow Water", "TRACKNUMBER=6"})}})),
            everything);
}

TEST(MusicTagsOfFiles, SeveralArtistsAreListed) {
  EXPECT_EQ(tagsIn(flacWith({{4, vorbisComment({"ARTIST=Brandt", "ARTIST= ", "ARTIST=Okafor"})}})).artist,
            "Brandt, Okafor");
  EXPECT_EQ(tagsIn(mp3With(id3Tag(id3Frame("TPE1", id3Text(3, "Brandt\0Okafor"s))))).artist, "Brandt, Okafor");
}

TEST(MusicTagsOfFiles, TheArtistOfTheAlbumStandsInForTheTracks) {
  EXPECT_EQ(tagsIn(flacWith({{4, vorbisComment({"ALBUMARTIST=Brandt"})}})).artist, "Brandt");
  EXPECT_EQ(tagsIn(mp3With(id3Tag(id3Frame("TPE2", id3Text(0, "Brandt"))))).artist, "Brandt");
}

TEST(MusicTagsOfFiles, ID3IsReadInFrontOfMP3) {
  EXPECT_EQ(tagsIn(mp3With(id3Tag(framesOfEverything(4), 4))), everything);
  EXPECT_EQ(tagsIn(mp3With(id3Tag(framesOfEverything(3), 3))), everything);
}

TEST(MusicTagsOfFiles, ID3OfTheFirstVersionsIsRead) {
  const auto frame = [](std::string_view id, const ByteVector& content) {
    return Bytes().text(id).big(content.size(), 3).append(content).all();
  };
  const auto old = joined({frame("TT2", id3Text(0, "Vespers")), frame("TP1", id3Text(0, "Ilse Brandt")),
                           frame("TAL", id3Text(0, "Slow Water")), frame("TRK", id3Text(0, "6"))});
  EXPECT_EQ(tagsIn(mp3With(id3Tag(old, 2))), everything);

  Bytes behind;
  behind.text("TAG").text("Vespers").repeat(std::byte{0}, 23).text("Ilse Brandt").repeat(std::byte{' '}, 19);
  behind.text("Slow Water").repeat(std::byte{0}, 20 + 4 + 28).big(0, 1).big(6, 1).big(255, 1);
  EXPECT_EQ(tagsIn(joined({mp3With({}), behind.all()})), everything);
}

TEST(MusicTagsOfFiles, TextIsReadInEachEncodingOfID3) {
  EXPECT_EQ(tagsIn(mp3With(id3Tag(id3Frame("TIT2", id3Text(0, "Fl\xFCgel"))))).title, "Flügel");
  EXPECT_EQ(tagsIn(mp3With(id3Tag(id3Frame("TIT2", id3Text(3, "Flügel"))))).title, "Flügel");
  EXPECT_EQ(tagsIn(mp3With(id3Tag(id3Frame("TIT2", id3Text(1, "\xFF\xFE\x42\x30\x44\x30"))))).title, "あい");
  EXPECT_EQ(tagsIn(mp3With(id3Tag(id3Frame("TIT2", id3Text(2, "\x30\x42\x30\x44"))))).title, "あい");
}

TEST(MusicTagsOfFiles, UnsynchronisedTagsAreRead) {
  const auto plain = joined({id3Frame("TIT2", id3Text(0, "A\xFF"), 3), id3Frame("TALB", id3Text(0, "Slow Water"), 3)});
  Bytes stored;
  for (const std::byte byte : plain) {
    stored.big(std::to_integer<std::uint64_t>(byte), 1);
    if (byte == std::byte{0xFF}) stored.big(0, 1);
  }
  const auto tags = tagsIn(mp3With(id3Tag(stored.all(), 3, 0x80)));
  EXPECT_EQ(tags.title, "Aÿ");
  EXPECT_EQ(tags.album, "Slow Water");
}

TEST(MusicTagsOfFiles, WavIsReadFromINFOAndFromID3) {
  EXPECT_EQ(tagsIn(wavWith("LIST", infoList({{"INAM", "Vespers"},
                                             {"IART", "Ilse Brandt"},
                                             {"ICMT", "a comment"},
                                             {"IPRD", "Slow Water"},
                                             {"ITRK", "6"}}))),
            everything);
  EXPECT_EQ(tagsIn(wavWith("id3 ", id3Tag(framesOfEverything(3), 3))), everything);
}

TEST(MusicTagsOfFiles, WhatID3LeavesOutIsTakenFromINFO) {
  const auto file = WavFile()
                        .format(1, 2, 44100, 4, 16)
                        .chunk("LIST", infoList({{"INAM", "Another"}, {"IPRD", "Slow Water"}}))
                        .chunk("data", samples())
                        .chunk("ID3 ", id3Tag(id3Frame("TIT2", id3Text(0, "Vespers"))))
                        .bytes();
  EXPECT_EQ(tagsIn(file).title, "Vespers");
  EXPECT_EQ(tagsIn(file).album, "Slow Water");
}

TEST(MusicTagsOfFiles, INFOIsUTF8OrElseLatin1) {
  EXPECT_EQ(tagsIn(wavWith("LIST", infoList({{"INAM", "Flügel"}}))).title, "Flügel");
  EXPECT_EQ(tagsIn(wavWith("LIST", infoList({{"INAM", "Fl\xFCgel"}}))).title, "Flügel");
}

TEST(MusicTagsOfFiles, AiffIsReadFromID3AndFromItsOwnChunks) {
  const auto aiff = [](std::string_view id, const ByteVector& chunk) {
    return AiffFile().common(2, 16, 16, 44100).chunk(id, chunk).soundData(samples()).bytes();
  };
  EXPECT_EQ(tagsIn(aiff("ID3 ", id3Tag(framesOfEverything(4)))), everything);
  EXPECT_EQ(tagsIn(aiff("NAME", textBytes("Vespers"))).title, "Vespers");
  EXPECT_EQ(tagsIn(aiff("AUTH", textBytes("Ilse Brandt"))).artist, "Ilse Brandt");
}

TEST(MusicTagsOfFiles, FilesWithoutTagsStateNothing) {
  EXPECT_EQ(tagsIn({}), MusicTags());
  EXPECT_EQ(tagsIn(mp3With({})), MusicTags());
  EXPECT_EQ(tagsIn(flacWith({})), MusicTags());
  EXPECT_EQ(tagsIn(wavWith("LIST", textBytes("adtl"))), MusicTags());
  EXPECT_FALSE(coverIn(flacWith({})));
  EXPECT_FALSE(coverIn(mp3With({})));
}

TEST(MusicTagsOfFiles, TextsAreOneLineWithoutControls) {
  const auto title = [](const std::string& text) {
    return tagsIn(flacWith({{4, vorbisComment({"TITLE=" + text})}})).title;
  };
  EXPECT_EQ(title("  First\n second\t"), "First  second");
  EXPECT_EQ(title("a\x1B[31mb"), "a\uFFFD[31mb");
  EXPECT_EQ(title("\u202Egnp.exe"), "\uFFFDgnp.exe");
}

TEST(MusicTagsOfFiles, TrackNumbersAreNumbers) {
  const auto number = [](const std::string& text) {
    return tagsIn(flacWith({{4, vorbisComment({"TRACKNUMBER=" + text})}})).trackNumber;
  };
  EXPECT_EQ(number("03"), 3);
  EXPECT_EQ(number("12/14"), 12);
  for (const char* none : {"", "A1", "0", "-3", "10000", "99999999999999999999"}) EXPECT_EQ(number(none), std::nullopt);
}

TEST(MusicTagsOfFiles, TheFrontCoverGoesBeforeOtherPictures) {
  const auto front = jpegBytes("front");
  const auto other = pngBytes("a band photograph");
  const Cover expected{Cover::Format::jpeg, front, std::nullopt};
  EXPECT_EQ(coverIn(flacWith({{6, flacPicture(8, other)}, {6, flacPicture(3, front)}})), expected);
  EXPECT_EQ(coverIn(mp3With(
                id3Tag(joined({id3Frame("APIC", id3Picture(8, other)), id3Frame("APIC", id3Picture(3, front))})))),
            expected);
  EXPECT_EQ(coverIn(wavWith("id3 ", id3Tag(id3Frame("APIC", id3Picture(3, front))))), expected);
}

TEST(MusicTagsOfFiles, AnyPictureIsBetterThanNone) {
  const auto picture = pngBytes("the only one");
  const Cover expected{Cover::Format::png, picture, std::nullopt};
  EXPECT_EQ(coverIn(flacWith({{6, flacPicture(0, picture)}})), expected);
  const auto old = Bytes().big(0, 1).text("PNG").big(0, 1).big(0, 1).append(picture).all();
  EXPECT_EQ(coverIn(mp3With(id3Tag(Bytes().text("PIC").big(old.size(), 3).append(old).all(), 2))), expected);
}

TEST(MusicTagsOfFiles, WhatIsNoJPEGAndNoPNGIsNoCover) {
  EXPECT_FALSE(coverIn(flacWith({{6, flacPicture(3, textBytes("<svg xmlns=\"http://www.w3.org/2000/svg\"/>"))}})));
  EXPECT_FALSE(coverIn(flacWith({{6, flacPicture(3, textBytes("https://example.org/cover.jpg"))}})));
  const auto second = jpegBytes("second");
  EXPECT_EQ(coverIn(flacWith({{6, flacPicture(3, textBytes("GIF89a"))}, {6, flacPicture(4, second)}})),
            (Cover{Cover::Format::jpeg, second, std::nullopt}));
}

}  // namespace
}  // namespace tolvane::test
