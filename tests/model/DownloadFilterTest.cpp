#include "app/model/DownloadFilter.h"

#include <gtest/gtest.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

DownloadManager::Item item(const QString& filename, DownloadStatus status = DownloadStatus::queued,
                           const QString& url = u"https://host.example/file"_s) {
    return std::make_shared<DownloadItem>(DownloadRecord{
        .id = QUuid::createUuid(),
        .url = QUrl(url),
        .directory = QUrl(u"file:///tmp"_s),
        .connections = 4,
        .filename = filename,
        .status = status,
        .addedAt = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC),
    });
}

TEST(FileKindTest, IsThatOfTheLastExtensionOfTheLastPathComponent) {
    // A name a line. The lower bytes of the last but one's extension spell mp4.
    const std::vector<std::pair<FileKind, QString>> cases{
        {FileKind::video, u"Movie.MKV\na.ts\n..mp4"_s},
        {FileKind::audio, u"song.Flac\na.mp3.alac"_s},
        {FileKind::archives, u"backup.tar.gz\na.7Z"_s},
        {FileKind::documents, u"a.key\na.xml"_s},
        {FileKind::applications, u"disk.sparsebundle"_s},
        {FileKind::images, u"photo.HEIC\nfolder.d/photo.psd"_s},
        {FileKind::other,
         u"movie.mp4.part\na.mp4/README\nlinux.torrent\nREADME\n.profile\n.mp4\nfolder/.mp4\nmp4"_s},
        {FileKind::other, u"a.mp4 \na.mp\na.\n\na.sparsebundles\na.\u016d\u0170\u0134\na.m\u00e94"_s},
    };
    for (const auto& [kind, names] : cases)
        for (const QString& name : names.split(u'\n'))
            EXPECT_EQ(fileKind(name), kind) << name.toStdString();
}

TEST(FileKindTest, IsToldByItsTitleAndByNoOtherText) {
    for (const FileKind kind : fileKinds)
        EXPECT_EQ(fileKindFromTitle(fileKindTitle(kind)), kind);
    EXPECT_EQ(fileKindFromTitle(u"Disk Images and Apps"_s), FileKind::applications);
    for (const QString& text : {u"Apps"_s, u"video"_s, u"Video "_s, QString()})
        EXPECT_EQ(fileKindFromTitle(text), std::nullopt) << text.toStdString();
}

TEST(FileKindTest, OfADownloadIsTorrentForAnyNameOfATorrentSource) {
    using enum DownloadStatus;
    EXPECT_EQ(fileKind(*item(u"a.mp4"_s, queued, u"magnet:?xt=urn:btih:aa&dn=a.mp4"_s)), FileKind::torrents);
    EXPECT_EQ(fileKind(*item(u"a.mp4"_s, queued, u"https://host.example/a.Torrent?b=c"_s)),
              FileKind::torrents);
    EXPECT_EQ(fileKind(*item(u"a.mp4"_s, queued, u"https://host.example/torrent"_s)), FileKind::video);
}

TEST(DownloadFilterTest, HasATitleAndASymbol) {
    QStringList texts;
    for (const auto& group : {DownloadFilter::stages(), DownloadFilter::kinds()})
        for (const DownloadFilter& filter : group)
            texts.append(filter.title() + u": "_s + filter.symbol());
    EXPECT_EQ(texts.join(u", "_s),
              u"All: tray.full, Active: arrow.down.circle, Queued: clock, Paused: pause.circle, "
              "Completed: checkmark.circle, Failed: exclamationmark.circle, Video: film, Audio: waveform, "
              "Archives: archivebox, Documents: doc.text, Disk Images and Apps: externaldrive, "
              "Images: photo, Torrents: point.3.connected.trianglepath.dotted, Other: doc"_s);
}

TEST(DownloadFilterTest, CountsWhatItMatches) {
    using enum DownloadStatus;
    const QList<DownloadManager::Item> items{item(u"a.mp4"_s, probing),
                                             item(u"b.xyz"_s, downloading),
                                             item(u"c.mp3"_s, queued),
                                             item(u"d.mp4"_s, paused),
                                             item(u"e.mp4"_s, paused),
                                             item(u"f"_s, completed),
                                             item(u"g.mp4"_s, failed, u"magnet:?xt=urn:btih:aa"_s)};
    const DownloadFilterCounts counts = DownloadFilter::counts(items);

    const std::vector<std::pair<DownloadFilter, QString>> cases{
        {DownloadFilter::all, u"abcdefg"_s},
        {DownloadFilter::active, u"ab"_s},
        {DownloadFilter::queued, u"c"_s},
        {DownloadFilter::paused, u"de"_s},
        {DownloadFilter::completed, u"f"_s},
        {DownloadFilter::failed, u"g"_s},
        {DownloadFilter::kind(FileKind::video), u"ade"_s},
        {DownloadFilter::kind(FileKind::audio), u"c"_s},
        {DownloadFilter::kind(FileKind::images), QString()},
        {DownloadFilter::kind(FileKind::torrents), u"g"_s},
        {DownloadFilter::kind(FileKind::other), u"bf"_s},
    };
    for (const auto& [filter, names] : cases) {
        QString matched;
        for (const DownloadManager::Item& each : items)
            if (filter.matches(*each))
                matched += each->filename().front();
        EXPECT_EQ(matched, names) << filter.title().toStdString();
        EXPECT_EQ(counts[filter], names.size()) << filter.title().toStdString();
    }
}

} // namespace
} // namespace fetra
