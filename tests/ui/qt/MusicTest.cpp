// What the files state about their music, as it comes into the window: at once, late, or not at all.

#include <QBuffer>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QtTest/QTest>
#include <span>

#include "tests/ui/qt/WindowFixture.h"
#include "ui/qt/items/CoverImage.h"
#include "ui/qt/models/NowPlayingModel.h"

namespace tolvane::test {
namespace {

using testing::Contains;
using testing::Not;
using testing::SizeIs;

Cover coverWith(QSize size, QColor color, const char* format = "png") {
  QImage image(size, QImage::Format_RGB32);
  image.fill(color);
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, format);
  const auto bytes = std::as_bytes(std::span(buffer.data().constData(), static_cast<std::size_t>(buffer.size())));
  return {QByteArray(format) == "png" ? Cover::Format::png : Cover::Format::jpeg, {bytes.begin(), bytes.end()}, {}};
}

class WindowMusic : public WindowFixture {
 protected:
  static MusicTags tagsOf(int number) {
    return {.title = "Piece " + std::to_string(number),
            .artist = "Ilse Brandt",
            .album = "Slow Water",
            .trackNumber = number};
  }
  void stateTags(int count) {
    for (int number = 1; number <= count; ++number) stated[track(number)] = tagsOf(number);
  }
  [[nodiscard]] QObject* nowPlaying() const { return window->property("nowPlaying").value<QObject*>(); }
  [[nodiscard]] bool hasCover() const { return nowPlaying()->property("cover").value<CoverImage>().isAvailable(); }
  [[nodiscard]] QStringList names() const {
    QStringList found;
    for (const QAccessibleInterface* control : controls()) found.push_back(control->text(QAccessible::Name));
    return found;
  }
  /// A layout that waits for the next frame is done now.
  static void layOut(QQuickItem* root) {
    root->ensurePolished();
    for (QQuickItem* child : root->childItems()) layOut(child);
  }
  /// All that is drawn, with its place. A text is as wide as it is, and a figure stands in the middle of its cell.
  void collectPlaces(const QQuickItem* root, std::vector<std::pair<const QQuickItem*, QRectF>>& places) const {
    const bool isFigure = root->parentItem() != nullptr && root->parentItem()->property("character").isValid();
    const QQuickItem* placed = isFigure ? root->parentItem() : root;
    const double width = root->inherits("QQuickText") ? 0 : root->width();
    const bool isDrawn = root->isVisible() && root->flags().testFlag(QQuickItem::ItemHasContents);
    if (isDrawn) places.emplace_back(root, placed->mapRectToScene(QRectF(0, 0, width, placed->height())));
    for (const QQuickItem* child : root->childItems()) collectPlaces(child, places);
  }
  [[nodiscard]] std::vector<std::pair<const QQuickItem*, QRectF>> places() const {
    std::vector<std::pair<const QQuickItem*, QRectF>> found;
    layOut(window->contentItem());
    collectPlaces(window->contentItem(), found);
    return found;
  }
  [[nodiscard]] QColor colorOfCover() {
    settle();
    const auto* cover = window->findChild<QQuickItem*>(QStringLiteral("cover"));
    const QImage picture = window->grabWindow();
    return picture.pixelColor(placeIn(*cover, 0.5, 0.2) * picture.devicePixelRatio());
  }
};

TEST_F(WindowMusic, NamesTitleArtistAndAlbumInRowAndPanel) {
  stateTags(3);
  load(3);
  EXPECT_THAT(names(), Contains(QStringLiteral("Piece 2, Ilse Brandt · Slow Water, track 2, 00:10")));
  EXPECT_EQ(item("Piece 1")->property("text").toString(), QStringLiteral("Piece 1")) << "the panel's heading";
  EXPECT_EQ(accessible("Piece 1")->text(QAccessible::Description), QStringLiteral("Ilse Brandt · Slow Water"));
  EXPECT_TRUE(isShown("Ilse Brandt · Slow Water"));
}

TEST_F(WindowMusic, FilesWithoutTagsKeepTheirNames) {
  load(2);
  EXPECT_THAT(names(), Contains(QStringLiteral("Track 2, track 2, 00:10")));
  EXPECT_TRUE(isShown("Track 1"));
  EXPECT_TRUE(isShown("music")) << "their folder";
  EXPECT_FALSE(hasCover());
  EXPECT_FALSE(isShown("Cover"));
}

TEST_F(WindowMusic, MovesNothingWhenItComesLate) {
  stateTags(12);
  covers[track(1)] = coverWith({400, 400}, Qt::blue);
  tagsComeLater = true;
  for (const QSize size : {QSize(600, 700), QSize(1600, 1000)}) {
    window->resize(size);
    load(12);
    ASSERT_TRUE(isShown("Track 1"));
    ASSERT_FALSE(hasCover());
    const auto before = places();
    finishReadingTags();
    ASSERT_TRUE(isShown("Piece 1"));
    ASSERT_TRUE(hasCover());
    std::size_t compared = 0;
    const auto after = places();
    for (const auto& [item, place] : before) {
      // Lines of figures are made of as many items as there are figures.
      const auto found = std::ranges::find(after, item, &std::pair<const QQuickItem*, QRectF>::first);
      if (found == after.end()) continue;
      EXPECT_EQ(found->second, place) << item->metaObject()->className();
      ++compared;
    }
    EXPECT_GT(compared, 200U);
  }
}

TEST_F(WindowMusic, ReadsTheCurrentTrackAndWhatIsInSight) {
  std::vector<FileURL> urls = addTracks(10);
  for (int number = 11; number <= 100'000; ++number) urls.push_back(track(number));
  stateTags(20);
  content.loadPlaylist(urls);
  settle();
  EXPECT_TRUE(isShown("Piece 1"));
  EXPECT_LT(content.music().known().size(), 30U);
  const auto before = content.music().known().size();
  item("Tracks")->setProperty("contentY", 58 * 50'000);
  settle();
  EXPECT_GT(content.music().known().size(), before) << "rows that have come in sight";
  EXPECT_LT(content.music().known().size(), 60U);
}

TEST_F(WindowMusic, NumbersARowWhoseTitleNoLongerBeginsWithItsNumber) {
  const FileURL url("/music/01 Vespers.wav");
  files.add(url, SimulatedPCMFile());
  stated[url] = {.title = "Vespers", .artist = {}, .album = {}, .trackNumber = {}};
  tagsComeLater = true;
  content.loadPlaylist(std::vector{url});
  settle();
  EXPECT_EQ(row(0)->property("number").toString(), QString());
  finishReadingTags();
  EXPECT_EQ(row(0)->property("number").toString(), QStringLiteral("01"));
}

TEST_F(WindowMusic, IsFoundByTyping) {
  stateTags(12);
  stated[track(3)].artist = "Tomas Okafor";
  load(12);
  type("okafor");
  EXPECT_TRUE(isShown("1 of 1"));
  EXPECT_EQ(window->property("trackFind").value<QObject*>()->property("row").toInt(), 2);
}

TEST_F(WindowMusic, ShowsTheCoverOfWhatPlays) {
  covers[track(1)] = coverWith({400, 400}, Qt::blue);
  covers[track(2)] = coverWith({900, 900}, Qt::green, "jpeg");
  load(3);
  ASSERT_TRUE(hasCover());
  EXPECT_TRUE(isShown("Cover"));
  EXPECT_GT(colorOfCover().blue(), 240);
  content.playTrack(1, 0);
  settle();
  EXPECT_GT(colorOfCover().green(), 240);
  content.playTrack(2, 0);
  settle();
  EXPECT_FALSE(hasCover());
  EXPECT_LT(colorOfCover().green(), 60) << "the quiet sign";
}

TEST_F(WindowMusic, KeepsThePlaceOfTheCoverWhereAPictureIsBroken) {
  covers[track(1)] = {Cover::Format::png, std::vector<std::byte>(100, std::byte{1}), {}};
  load(2);
  EXPECT_FALSE(hasCover());
  const auto* cover = window->findChild<QQuickItem*>(QStringLiteral("cover"));
  EXPECT_TRUE(cover->isVisible());
  EXPECT_EQ(cover->width(), cover->height());
  EXPECT_GE(cover->width(), 100);
}

TEST_F(WindowMusic, ANewListForgetsTheTagsOfTheOldOne) {
  stateTags(2);
  load(2);
  stated.clear();
  load(2);
  EXPECT_TRUE(isShown("Track 1"));
  EXPECT_FALSE(isShown("Piece 1"));
}

TEST(DecodedCovers, AreNoLargerThanTheWindowShowsThem) {
  EXPECT_EQ(decodedCover(coverWith({3000, 1500}, Qt::red)).size(), QSize(640, 320));
  EXPECT_EQ(decodedCover(coverWith({3000, 3000}, Qt::red, "jpeg")).size(), QSize(640, 640));
  EXPECT_EQ(decodedCover(coverWith({30, 20}, Qt::red)).size(), QSize(30, 20)) << "small ones stay as they are";
}

TEST(DecodedCovers, AreOfTheFormatThatTheirBytesAre) {
  auto cover = coverWith({64, 64}, Qt::red, "jpeg");
  cover.format = Cover::Format::png;
  EXPECT_TRUE(decodedCover(cover).isNull());
}

TEST(DecodedCovers, DoNotHaveToBeWhole) {
  const auto whole = coverWith({64, 64}, Qt::red);
  int decoded = 0;
  for (std::size_t length = 0; length < whole.bytes.size(); ++length) {
    auto cut = whole;
    cut.bytes.resize(length);
    const QImage image = decodedCover(cut);
    EXPECT_TRUE(image.isNull() || image.size() == QSize(64, 64));
    ++decoded;
  }
  EXPECT_GT(decoded, 50);
}

TEST(DecodedCovers, AreNotGiants) {
  auto cover = coverWith({8, 8}, Qt::red);
  // Width and height of the header, whose checksum is then wrong; it is the size that is looked at first.
  for (const std::size_t place : {17U, 21U}) cover.bytes[place] = std::byte{1};
  EXPECT_TRUE(decodedCover(cover).isNull());
}

}  // namespace
}  // namespace tolvane::test
