// What can be said of a torrent before it runs: its options, its name, and who transfers it.

#include "support/TempFolder.h"
#include "torrent/TorrentDownloader.h"
#include "torrent/TorrentHelperSearch.h"

#include <gtest/gtest.h>
#include <QFile>
#include <QJsonDocument>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

TEST(TorrentDownloader, TellsTorrentsFromOtherAddressesAndNamesThem) {
    const std::tuple<QString, bool, QString> cases[] = {
        {u"magnet:?xt=urn:btih:00&dn=Some%20name%20%26%20more%C3%A9"_s, true, u"Some name & moreé"_s},
        {u"MAGNET:?xt=urn:btih:00&dn=a%2Fb&dn=second"_s, true, u"a/b"_s},
        {u"magnet:?xt=urn:btih:00"_s, true, u"magnet link"_s},
        {u"magnet:?xt=urn:btih:00&dn="_s, true, u"magnet link"_s},
        {u"magnet:?xt=urn:btih:00&DN=shouted"_s, true, u"magnet link"_s},
        {u"https://example.com/d/my.torrent/"_s, true, u"my.torrent"_s},
        {u"file:///home/me/Linux.TORRENT"_s, true, u"Linux.TORRENT"_s},
        {u"https://example.com/d/my%20disk.torrent?key=1"_s, true, u"my disk.torrent"_s},
        {u"https://example.com/file.zip?name=a.torrent"_s, false, u"file.zip"_s},
        {u"https://example.com/.torrent"_s, false, u".torrent"_s},
    };
    for (const auto& [url, isTorrent, name] : cases) {
        EXPECT_EQ(TorrentDownloader::isTorrentSource(QUrl(url)), isTorrent) << url.toStdString();
        EXPECT_EQ(TorrentDownloader::displayName(QUrl(url)), name) << url.toStdString();
    }
}

TEST(TorrentOptions, SurviveJsonAndNeedEveryField) {
    const TorrentOptions options{
        .uploadLimitKB = 7, .downloadLimitKB = 9'007'199'254'740'993, .seedAfterComplete = true};
    const QJsonObject whole = QJsonDocument::fromJson(QJsonDocument(options.toJson()).toJson()).object();
    EXPECT_EQ(TorrentOptions::fromJson(whole), options);
    EXPECT_EQ(whole.keys(), QStringList({u"downloadLimitKB"_s, u"seedAfterComplete"_s, u"uploadLimitKB"_s}));
    for (const QString& key : whole.keys()) {
        QJsonObject partial = whole;
        partial.remove(key);
        EXPECT_EQ(TorrentOptions::fromJson(partial), std::nullopt) << key.toStdString();
        partial.insert(key, u"1"_s);
        EXPECT_EQ(TorrentOptions::fromJson(partial), std::nullopt) << key.toStdString();
    }
}

TEST(TorrentHelperSearch, TakesTheFirstExecutableOfAllPlaces) {
    const TempFolder folder;
    const QStringList order{u"mine"_s,
                            u"a/b/c/d/e/f/fetra-torrent"_s,
                            u"a/b/c/d/e/Helpers/fetra-torrent"_s,
                            u"a/b/c/d/e/lib/fetra/Contents/Helpers/fetra-torrent"_s,
                            u"a/b/c/d/e/f/torrent-helper/fetra-torrent"_s,
                            u"a/b/c/d/e/torrent-helper/fetra-torrent"_s,
                            u"a/b/c/d/torrent-helper/fetra-torrent"_s,
                            u"a/b/c/torrent-helper/fetra-torrent"_s,
                            u"a/b/torrent-helper/fetra-torrent"_s,
                            u"a/torrent-helper/fetra-torrent"_s,
                            u"p/fetra-torrent"_s,
                            u"q/fetra-torrent"_s};
    const TorrentHelperSearch::Surroundings around{
        .override = folder.path(u"mine"_s),
        .programFolder = folder.path(u"a/b/c/d/e/f"_s),
        .path = u"::%1:%2:"_s.arg(folder.path(u"p"_s), folder.path(u"q"_s))};
    folder.write(u"torrent-helper/fetra-torrent"_s, "one ancestor too far");
    ASSERT_TRUE(QFile::setPermissions(folder.path(u"torrent-helper/fetra-torrent"_s),
                                      QFile::ReadOwner | QFile::ExeOwner));
    EXPECT_EQ(TorrentHelperSearch::find(around), std::nullopt);
    for (auto place = order.rbegin(); place != order.rend(); ++place) {
        const QString path = folder.write(*place, "#!/bin/sh\n");
        const auto before = TorrentHelperSearch::find(around);
        EXPECT_NE(before, path) << "not executable yet";
        ASSERT_TRUE(QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner));
        EXPECT_EQ(TorrentHelperSearch::find(around), path);
    }
}

} // namespace
} // namespace fetra::test
