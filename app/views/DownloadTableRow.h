#pragma once

#include "manager/DownloadManager.h"

#include <QCollator>
#include <QDateTime>
#include <QString>
#include <QUuid>

#include <compare>
#include <optional>

namespace fetra {

/// The columns of the table of downloads, in their first order.
enum class DownloadColumn { name, size, progress, speed, segments, connections, status, added };
inline constexpr int downloadColumnCount = 8;

/// One download as the table of downloads shows and sorts it: a picture of the item at some moment.
struct DownloadTableRow {
    explicit DownloadTableRow(const DownloadManager::Item& shown);

    /// Takes a new picture of the item.
    void update();

    /// `name` by `nameKey`, which must be there; the segments stand for the progress.
    [[nodiscard]] std::strong_ordering compare(const DownloadTableRow& other, DownloadColumn column) const;

    /// As the table shows it; empty for what is drawn.
    [[nodiscard]] QString text(DownloadColumn column) const;
    /// What `text` leaves out, or has no room for.
    [[nodiscard]] QString toolTip(DownloadColumn column) const;
    /// For a screen reader. That of the name sums up the row.
    [[nodiscard]] QString accessibleText(DownloadColumn column) const;

    QUuid id;
    DownloadManager::Item item;
    QString name;
    /// In bytes; -1 when unknown.
    qint64 size = -1;
    /// 0 to 1.
    double progress = 0;
    /// In bytes per second; 0 unless active.
    double speed = 0;
    /// Connections or peers that take part.
    qint64 connections = 0;
    QString status;
    QDateTime added;
    /// Made when it is needed.
    std::optional<QCollatorSortKey> nameKey;
    /// In the manager's list: decides between rows that are alike.
    qsizetype position = 0;

private:
    [[nodiscard]] QString remainingTime() const;
    [[nodiscard]] QString percent() const;
};

} // namespace fetra
