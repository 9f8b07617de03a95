#pragma once

#include "app/views/DownloadTableRow.h"

#include <QByteArray>
#include <QMap>
#include <QObject>

#include <array>

class QMenu;

namespace fetra {

class TableHeader;

/// Which columns of the table are shown, and how wide: the names have the room that the others leave, and
/// where there is little the least important ones go. What the user has chosen stays.
class DownloadColumns final : public QObject {
    Q_OBJECT

public:
    /// A part of `header`, which has its model.
    explicit DownloadColumns(TableHeader& header);

    /// `width` of all columns together, in device-independent pixels.
    void fit(int width);
    void followFont();

    /// Offers every column but the names. What it shows or hides stays so; the others come and go with the
    /// room.
    [[nodiscard]] QMenu& menu() const { return *menu_; }

    /// Widths, order and choice of the columns, and what the rows are sorted by.
    [[nodiscard]] QByteArray saveState() const;
    /// False, and nothing changes, for anything that `saveState` did not make.
    bool restoreState(const QByteArray& state);

private:
    using Widths = std::array<int, downloadColumnCount>;

    void makeMenu();
    void choose(int section, bool isShown);
    void setUsual();
    void updateUsualWidths();
    void fit();
    void fitNames();
    [[nodiscard]] int& widthOf(int section) { return widths_.at(static_cast<size_t>(section)); }

    TableHeader& header_;
    QMenu* menu_;
    int room_ = 0;
    /// Also of the columns that are hidden.
    Widths widths_{};
    /// What the font asks for.
    Widths usualWidths_{};
    /// By section: whether it is shown whatever the room.
    QMap<int, bool> chosen_;
    bool isFitting_ = false;
};

} // namespace fetra
