#include "app/model/InspectorFacts.h"

#include "model/ModelWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using InspectorFacts::Fact;
using Status = DownloadStatus;

class InspectorFactsTest : public test::ModelWorld {
protected:
    /// "Size=Unknown Progress=0%", without the dates.
    [[nodiscard]] static QString text(const DownloadItem& item, double average = 0) {
        QStringList texts;
        for (const Fact& fact : InspectorFacts::statistics(item, average))
            if (fact.label != u"Added"_s && fact.label != u"Completed"_s)
                texts.append(fact.label + u'=' + fact.value);
        return texts.join(u"; "_s);
    }
};

TEST_F(InspectorFactsTest, StatisticsAreThoseOfTheKindAndTheState) {
    const Item file = addAt(u"http://host.example/a"_s, Status::downloading);
    file->setTotalBytes(100 * 1024);
    file->setReceivedBytes(29 * 1024); // 0.29 * 100 is less than 29
    file->setBytesPerSecond(1024);
    file->setActiveConnections(3);
    file->setConnectionLimit(8);
    file->setSegments({{}, {}});
    EXPECT_EQ(text(*file, 512), u"Downloaded=29.00 KB; Size=100.00 KB; Progress=29%; Speed=1.00 KB/s; "
                                u"Average=512.00 B/s; Remaining=1m11s; Connections=3 of 8; Segments=2"_s);

    const Item torrent = addAt(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s);
    torrent->setUploadedBytes(5);
    EXPECT_TRUE(text(*torrent).contains(u"; Uploaded=5 B; Ratio=0.00; "_s)) << "of nothing";
    torrent->setReceivedBytes(4);
    torrent->setPeers(7);
    torrent->setSeeds(2);
    EXPECT_EQ(text(*torrent), u"Downloaded=4 B; Size=Unknown; Progress=0%; Average=0.00 B/s; "
                              u"Uploaded=5 B; Ratio=1.25; Peers=7; Seeds=2"_s);
}

} // namespace
} // namespace fetra
