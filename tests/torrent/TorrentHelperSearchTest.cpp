#include "torrent/TorrentHelperSearch.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFile>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

TEST(TorrentHelperSearch, TakesTheFirstExecutableOfAllPlaces) {
    const TempFolder folder;
    const QStringList order{u"mine"_s,
                            u"a/b/c/fetra-torrent"_s,
                            u"a/b/Helpers/fetra-torrent"_s,
                            u"a/b/lib/fetra/Contents/Helpers/fetra-torrent"_s,
                            u"a/torrent-helper/fetra-torrent"_s,
                            u"p/fetra-torrent"_s,
                            u"q/fetra-torrent"_s};
    const TorrentHelperSearch::Surroundings around{
        .override = folder.path(u"mine"_s),
        .programFolder = folder.path(u"a/b/c"_s),
        .path = u"::%1:%2:"_s.arg(folder.path(u"p"_s), folder.path(u"q"_s))};
    for (auto place = order.rbegin(); place != order.rend(); ++place) {
        const QString path = folder.write(*place, "#!/bin/sh\n");
        EXPECT_NE(TorrentHelperSearch::find(around), path) << "not executable yet";
        ASSERT_TRUE(QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner));
        EXPECT_EQ(TorrentHelperSearch::find(around), path);
    }
}

} // namespace
} // namespace fetra::test
