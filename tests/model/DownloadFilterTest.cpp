#include "app/model/DownloadFilter.h"

#include <gtest/gtest.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

DownloadManager::Item item(const QString& filename, DownloadStatus status,
                           const QString& url = u"https://host.example/file"_s) {
    return std::make_shared<DownloadItem>(
        DownloadRecord{.id = QUuid::createUuid(), .url = QUrl(url), .filename = filename, .status = status});
}

TEST(FileKindTest, IsThatOfTheLastExtensionOfTheLastPathComponent) {
    // A name a line. The lower bytes of the last but one's extension spell mp4.
    const std::vector<std::pair<FileKind, QString>> cases{
        {FileKind::video, u"Movie.MKV\na.ts\n..mp4"_s},
        {FileKind::audio, u"song.Flac\na.mp3.alac"_s},
        {FileKind::archives, u"backup.tar.gz"_s},
        {FileKind::applications, u"disk.sparsebundle"_s},
        {FileKind::images, u"photo.HEIC\nfolder.d/photo.psd"_s},
        {FileKind::other, u"movie.mp4.part\na.mp4/README\nlinux.torrent\nfolder/.mp4\nmp4"_s},
        {FileKind::other, u"a.mp4 \na.\n\na.sparsebundles\na.\u016d\u0170\u0134\na.m\u00e94"_s},
    };
    for (const auto& [kind, names] : cases)
        for (const QString& name : names.split(u'\n'))
            EXPECT_EQ(fileKind(name), kind) << name.toStdString();
}

TEST(DownloadFilterTest, CountsWhatItMatches) {
    using enum DownloadStatus;
    const QList<DownloadManager::Item> items{
        item(u"a.mp4"_s, probing),
        item(u"b.xyz"_s, downloading),
        item(u"c.mp3"_s, queued),
        item(u"d.mp4"_s, paused),
        item(u"e.mp4"_s, paused, u"https://host.example/torrent"_s),
        item(u"f"_s, completed),
        item(u"g.mp4"_s, failed, u"magnet:?xt=urn:btih:aa&dn=g.mp4"_s),
        item(u"h.mp4"_s, failed, u"https://host.example/h.Torrent?b=c"_s),
    };
    const DownloadFilterCounts counts = DownloadFilter::counts(items);
    const std::pair<DownloadFilter, QString> cases[] = {
        {DownloadFilter::all, u"abcdefgh"_s},
        {DownloadFilter::active, u"ab"_s},
        {DownloadFilter::queued, u"c"_s},
        {DownloadFilter::paused, u"de"_s},
        {DownloadFilter::completed, u"f"_s},
        {DownloadFilter::failed, u"gh"_s},
        {DownloadFilter::kind(FileKind::video), u"ade"_s},
        {DownloadFilter::kind(FileKind::torrents), u"gh"_s},
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
