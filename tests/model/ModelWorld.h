#pragma once

#include "app/model/AppModel.h"
#include "model/FakeDesktop.h"
#include "support/FakeClock.h"
#include "support/ManagerWorld.h"

namespace fetra::test {

/// A model over a manager with scripted transfers, on a desktop that does what the test says.
class ModelWorld : public ManagerWorld {
protected:
    void SetUp() override { startModel(); }

    AppModel& startModel() {
        model_.reset();
        model_ = std::make_unique<AppModel>(start(), fake.desktop(), clock);
        return *model_;
    }
    void stopModel() { model_.reset(); }
    AppModel& model() { return *model_; }

    Item addAt(const QString& address, DownloadStatus status = DownloadStatus::paused) {
        const Item item = manager().add({.url = QUrl(address), .startImmediately = false});
        item->setStatus(status);
        return item;
    }
    [[nodiscard]] static QSet<QUuid> ids(const AppModel::Items& items) {
        QSet<QUuid> set;
        for (const Item& item : items)
            set.insert(item->id());
        return set;
    }
    [[nodiscard]] static QString names(const AppModel::Items& items) {
        QStringList names;
        for (const Item& item : items)
            names.append(item->filename());
        return names.join(u' ');
    }
    [[nodiscard]] QString error() { return model().errorMessage().value_or(QString()); }
    /// A finished file of the test's folder, or its partial file.
    Item addComplete(const QString& name) {
        const Item item = addAt(QStringLiteral("http://host.example/") + name, DownloadStatus::completed);
        folder.write(name, "whole");
        item->setDestination(file(name));
        return item;
    }
    Item addPartial(const QString& name) {
        const Item item = addAt(QStringLiteral("http://host.example/") + name);
        folder.write(name + QStringLiteral(".part"), "half");
        folder.write(name + QStringLiteral(".fetra"), "{}");
        item->setDestination(file(name));
        return item;
    }

    FakeDesktop fake;
    FakeClock clock;

private:
    std::unique_ptr<AppModel> model_;
};

} // namespace fetra::test
