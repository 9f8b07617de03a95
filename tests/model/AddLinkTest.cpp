#include "model/ModelWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::ModelWorld;

const QString unsupported = u"This link is not a supported Fetra add link."_s;
const QString empty = u"The add link contains no valid HTTP, HTTPS, or magnet links."_s;
const QString magnet = u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s;

class AddLinkTest : public ModelWorld {
protected:
    [[nodiscard]] QStringList added() {
        QStringList urls;
        for (const Item& item : manager().items())
            urls.append(item->url().toString(QUrl::FullyEncoded));
        return urls;
    }
};

TEST_F(AddLinkTest, AddsAndSelectsWhatALinkHoldsOrSaysWhatIsWrongWithIt) {
    struct Case {
        QString url;
        QStringList added;
        QString error;
    };
    const QString encodedMagnet = QString::fromLatin1(QUrl::toPercentEncoding(magnet));
    const Case cases[] = {
        {magnet, {magnet}, {}},
        {u"MAGNET:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s, {magnet}, {}},
        {u"fetra://add?url=https%3A%2F%2Fhost.example%2Fa%3Fb%3D1%26c%3D2"_s,
         {u"https://host.example/a?b=1&c=2"_s},
         {}},
        {u"FETRA://ADD/any/path?note=x&url=http%3A%2F%2Fhost.example%2Fa"_s,
         {u"http://host.example/a"_s},
         {}},
        {u"fetra://add?url=https%3A%2F%2Fhost.example%2Fa&url="_s + encodedMagnet,
         {magnet, u"https://host.example/a"_s},
         {}},
        {u"fetra://add?url=http%3A%2F%2Fhost.example%2Fa%20http%3A%2F%2Fhost.example%2Fb"_s,
         {u"http://host.example/a"_s, u"http://host.example/b"_s},
         {}},
        {u"fetra://add?URL=http%3A%2F%2Fhost.example%2Fa"_s, {}, empty},
        {u"fetra://add?url=some%20words"_s, {}, empty},
        {u"fetra://add?url&url="_s, {}, empty},
        {u"fetra://add?url=ftp%3A%2F%2Fhost.example%2Fa"_s, {}, empty},
        {u"fetra://add"_s, {}, empty},
        {u"fetra:add?url=http%3A%2F%2Fhost.example%2Fa"_s, {}, unsupported},
        {u"fetra://remove?url=http%3A%2F%2Fhost.example%2Fa"_s, {}, unsupported},
        {u"https://host.example/a"_s, {}, unsupported},
        {u"fetra://[broken"_s, {}, unsupported},
        {u""_s, {}, unsupported},
        {u"file:///tmp/a.zip"_s, {}, unsupported},
        {u"file:///tmp/a.torrent"_s, {u"file:///tmp/a.torrent"_s}, {}},
        {u"magnet:?xt="_s + QString(AppModel::maxAddLinkLength, u'a'), {}, unsupported},
        {u"fetra://add?url="_s +
             QStringList(AppModel::maxAddLinkCount, u"http://host.example/a"_s).join(u"%20"_s),
         {u"http://host.example/a"_s},
         {}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.url.left(100).toStdString());
        startModel();
        manager().remove(manager().items(), false);
        model().setFilter(DownloadFilter::failed);
        model().handleURL(QUrl(each.url));
        EXPECT_EQ(added(), each.added);
        EXPECT_EQ(error(), each.error);
        EXPECT_EQ(model().selection(), ids(manager().items()));
        EXPECT_EQ(model().filter() == DownloadFilter::all, !each.added.isEmpty());
    }
}

TEST_F(AddLinkTest, TakesNoEndlessListFromAPage) {
    QString links;
    for (qsizetype index = 0; index <= AppModel::maxAddLinkCount; ++index)
        links += u"http://host.example/%1%20"_s.arg(index);
    model().handleURL(QUrl(u"fetra://add?url="_s + links));
    EXPECT_TRUE(added().isEmpty());
    EXPECT_EQ(error(), u"The add link contains more than 1000 links."_s);
}

TEST_F(AddLinkTest, WakingTakesInWhatLiesInTheInbox) {
    inboxes = {file(u"inbox"_s)};
    startModel();
    // Behind the back of the watcher, which hears of files from the event loop.
    folder.write(u"inbox/1.fetrajob"_s, R"({"url":"http://host.example/captured"})");
    model().handleURL(QUrl(u"fetra://Wake"_s));
    EXPECT_EQ(added(), QStringList{u"http://host.example/captured"_s});
    EXPECT_EQ(error(), QString());
}

} // namespace
} // namespace fetra
