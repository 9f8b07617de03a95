#include "app/views/RemovalConfirmation.h"

#include "model/ModelWorld.h"

#include <QApplication>
#include <QPointer>
#include <QPushButton>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class RemovalConfirmationTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        window.show();
    }

    void ask(bool deleteFiles) {
        model().requestRemoval(ids(manager().items()), deleteFiles);
        box = new RemovalConfirmation(model(), &window);
        box->open();
        QApplication::setActiveWindow(box);
    }
    [[nodiscard]] QPushButton& button(const QString& text) {
        for (auto* each : box->findChildren<QPushButton*>())
            if (each->text() == text)
                return *each;
        throw std::runtime_error("no such button: " + text.toStdString());
    }
    /// The request and the box are gone, and what was removed.
    [[nodiscard]] bool ends() {
        return runUntil([&] { return !box && !model().removal() && model().deleting().isEmpty(); });
    }

    QWidget window;
    QPointer<RemovalConfirmation> box;
};

TEST_F(RemovalConfirmationTest, KeepsOrRemovesAsTheUserSays) {
    struct Case {
        bool deleteFiles;
        /// With the keyboard when no button is named.
        QString button;
        Qt::Key key;
        QString left;
    };
    const Case cases[] = {
        {false, {}, Qt::Key_Escape, u"f.part f.fetra item"_s},
        {true, {}, Qt::Key_Escape, u"f.part f.fetra item"_s},
        {true, {}, Qt::Key_Return, u"f.part f.fetra item"_s},
        {false, {}, Qt::Key_Return, u"f.part f.fetra"_s},
        {false, u"Remove"_s, {}, u"f.part f.fetra"_s},
        {true, u"Remove and Delete Files"_s, {}, u""_s},
    };
    for (const Case& each : cases) {
        const Item item = addPartial(u"f"_s);
        ask(each.deleteFiles);
        if (each.button.isEmpty())
            QTest::keyClick(box, each.key);
        else
            QTest::mouseClick(&button(each.button), Qt::LeftButton);
        ASSERT_TRUE(ends());
        QStringList left;
        for (const QString& name : {u"f.part"_s, u"f.fetra"_s})
            if (folder.names().contains(name))
                left.append(name);
        if (!manager().items().isEmpty())
            left.append(u"item"_s);
        EXPECT_EQ(left.join(u' '), each.left) << each.button.toStdString() << each.key << each.deleteFiles;
        manager().remove(item, false);
    }
}

TEST_F(RemovalConfirmationTest, GoesWithItsRequestAndLeavesTheNextOne) {
    const Item item = addPartial(u"f"_s);
    ask(false);
    const RemovalRequest next{.ids = {item->id()}, .deleteFiles = true};
    model().setRemoval(next);
    EXPECT_TRUE(runUntil([&] { return !box; }));
    EXPECT_EQ(model().removal(), next);
    EXPECT_EQ(manager().items().size(), 1);
}

} // namespace
} // namespace fetra
