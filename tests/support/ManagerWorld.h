#pragma once

#include "manager/DownloadManager.h"
#include "support/EventLoop.h"
#include "support/ScriptedRunners.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QJsonArray>
#include <QJsonDocument>

namespace fetra::test {

/// A manager with scripted transfers and a state file in a folder of the test's.
class ManagerWorld : public ::testing::Test {
protected:
    using Item = DownloadManager::Item;

    DownloadManager& start() {
        manager_.reset();
        runners = ScriptedRunners();
        manager_ = std::make_unique<DownloadManager>(
            DownloadManager::Setup{.storeURL = QUrl::fromLocalFile(statePath()),
                                   .defaultDirectory = QUrl::fromLocalFile(folder.path()),
                                   .inboxes = inboxes},
            runners);
        return *manager_;
    }
    void stop() { manager_.reset(); }
    DownloadManager& manager() { return manager_ ? *manager_ : start(); }

    Item add(const QString& name, bool startImmediately = true) {
        return manager().add({.url = QUrl(QStringLiteral("http://host.example/") + name),
                              .startImmediately = startImmediately});
    }
    /// Adds one for each letter.
    void addAll(const QString& names) {
        for (const QChar name : names)
            add(name);
    }

    /// A letter an item: its name, in upper case while it is active.
    [[nodiscard]] QString list() {
        QString text;
        for (const Item& item : manager().items())
            text += item->isActive() ? item->filename().toUpper() : item->filename();
        return text;
    }
    [[nodiscard]] Item item(qsizetype index) { return manager().items().at(index); }
    [[nodiscard]] QUrl file(const QString& name) const { return QUrl::fromLocalFile(folder.path(name)); }
    [[nodiscard]] static DownloadResult result(const QUrl& file, qint64 bytes = 10) {
        return {.destination = file, .bytes = bytes, .averageBytesPerSecond = 5, .sha256 = std::nullopt};
    }
    [[nodiscard]] ScriptedTransfer& transfer(size_t index) { return *runners.transfers.at(index); }

    [[nodiscard]] QString statePath() const { return folder.path(QStringLiteral("Fetra/state.json")); }
    [[nodiscard]] QJsonObject savedState() const {
        return QJsonDocument::fromJson(folder.read(QStringLiteral("Fetra/state.json"))).object();
    }
    /// The stored status of each item.
    [[nodiscard]] QString savedStatuses() const {
        QStringList texts;
        for (const QJsonValue& each : savedState().value(QStringLiteral("items")).toArray())
            texts.append(each.toObject().value(QStringLiteral("status")).toString());
        return texts.join(u' ');
    }

    const TempFolder folder;
    ScriptedRunners runners;
    QList<QUrl> inboxes;

private:
    std::unique_ptr<DownloadManager> manager_;
};

} // namespace fetra::test
