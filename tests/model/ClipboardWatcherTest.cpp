#include "app/model/ClipboardWatcher.h"

#include "model/FakeDesktop.h"
#include "support/ManagerWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class ClipboardWatcherTest : public test::ManagerWorld {
protected:
    /// The links on offer after a look.
    QString poll(bool enabled = true) {
        watcher.poll(manager(), enabled);
        QStringList texts;
        for (const QUrl& link : watcher.links())
            texts.append(link.toString());
        return texts.join(u' ');
    }
    QString copy(const std::optional<QString>& text) {
        pasteboard.copy(text);
        return poll();
    }

    test::FakePasteboard pasteboard;
    ClipboardWatcher watcher{pasteboard};
};

TEST_F(ClipboardWatcherTest, OffersWhatIsCopiedWhileItWatches) {
    pasteboard.copy(u"http://a.example/old"_s);
    EXPECT_EQ(poll(false), QString());
    EXPECT_EQ(pasteboard.asked, 0) << "the answer may take its time";
    EXPECT_EQ(poll(), QString()) << "what lay there when watching began";

    EXPECT_EQ(copy(u"see http://a.example/1 and http://a.example/2"_s),
              u"http://a.example/1 http://a.example/2"_s);
    EXPECT_EQ(poll(), u"http://a.example/1 http://a.example/2"_s) << "nothing new was copied";
    EXPECT_EQ(copy(std::nullopt), QString()) << "no text at all";

    copy(u"http://a.example/4"_s);
    EXPECT_EQ(poll(false), QString());
    pasteboard.copy(u"http://a.example/5"_s);
    EXPECT_EQ(poll(), QString()) << "copied before it was on again";
}

TEST_F(ClipboardWatcherTest, OffersADismissedLinkAgainButNoneThatIsADownloadAlready) {
    add(u"known"_s, false);
    poll();
    copy(u"http://a.example/1"_s);
    watcher.clear();
    EXPECT_EQ(poll(), QString());
    EXPECT_EQ(copy(u"http://a.example/1"_s), u"http://a.example/1"_s);
    EXPECT_EQ(copy(u"http://host.example/known"_s), QString());
    EXPECT_EQ(copy(u"http://host.example/new http://host.example/known http://host.example/Known"_s),
              u"http://host.example/new http://host.example/Known"_s);
}

TEST_F(ClipboardWatcherTest, FindsACopyMadeWhileItReads) {
    poll();
    pasteboard.onRead = [this, reads = 0]() mutable {
        if (++reads == 1)
            pasteboard.copy(u"http://a.example/2"_s);
    };
    EXPECT_EQ(copy(u"http://a.example/1"_s), u"http://a.example/1"_s);
    EXPECT_EQ(poll(), u"http://a.example/2"_s);
}

} // namespace
} // namespace fetra
