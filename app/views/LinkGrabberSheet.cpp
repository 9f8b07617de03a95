#include "app/views/LinkGrabberSheet.h"

#include "app/model/AppModel.h"
#include "app/views/ElidedLabel.h"
#include "app/views/LinkEditor.h"
#include "app/views/LinkListModel.h"
#include "app/views/LinkListView.h"
#include "app/views/SymbolLabel.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"

#include <QCheckBox>
#include <QDir>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSpinBox>
#include <QVBoxLayout>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize usualSize(640, 600);
constexpr int headerSymbol = 32;
constexpr int errorSymbol = 18;
constexpr qreal titleScale = 1.35;
constexpr int fewestLines = 3;

int heightOfLines(const QWidget& widget, int lines) {
    return widget.fontMetrics().lineSpacing() * lines + 2 * Theme::gap;
}

} // namespace

LinkGrabberSheet::LinkGrabberSheet(AppModel& model, QWidget* parent)
    : QDialog(parent)
    , model_(model)
    , request_(model.grabber().value_or(LinkGrabberRequest()))
    , grabber_(model, request_.text)
    , editor_(new LinkEditor(grabber_, this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Add Links"));
    setSizeGripEnabled(true);

    auto* label = new QLabel(tr("Links"), this);
    label->setBuddy(editor_);
    editor_->setMinimumHeight(heightOfLines(*editor_, fewestLines));
    auto* list = new LinkListView(*new LinkListModel(grabber_, this), this);
    list->setMinimumHeight(heightOfLines(*list, fewestLines));

    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(Theme::wide, Theme::wide, Theme::wide, Theme::wide);
    rows->setSpacing(Theme::gap);
    rows->addLayout(makeHeader());
    rows->addSpacing(Theme::gap);
    rows->addWidget(label);
    rows->addWidget(editor_, 2);
    rows->addSpacing(Theme::tight);
    rows->addLayout(makeCountLine());
    rows->addWidget(list, 3);
    rows->addSpacing(Theme::tight);
    rows->addLayout(makeOptions());
    rows->addWidget(makeError());
    rows->addSpacing(Theme::gap);
    rows->addLayout(makeButtons());
    setTabOrder(editor_, all_);
    setTabOrder(all_, list);
    resize(usualSize.expandedTo(minimumSizeHint()));

    connect(&grabber_, &LinkGrabber::changed, this, &LinkGrabberSheet::refresh);
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::isTerminating)
            refreshSelection();
        else if (field == AppModel::Field::grabber && !isWanted())
            close();
    });
    refresh(LinkGrabber::Field::directory);
    refreshSelection();
    refreshError();
    editor_->setFocus();
}

void LinkGrabberSheet::present(AppModel& model, QWidget* parent) {
    (new LinkGrabberSheet(model, parent))->open();
}

bool LinkGrabberSheet::isWanted() const {
    return model_.grabber() == request_;
}

void LinkGrabberSheet::done(int result) {
    disconnect(&model_, nullptr, this, nullptr);
    if (isWanted())
        grabber_.close();
    QDialog::done(result);
}

// What it is made of

QLayout* LinkGrabberSheet::makeHeader() {
    auto* title = new QLabel(tr("Add Links"), this);
    title->setFont(Theme::scaled(Theme::bold(title->font()), titleScale));
    auto* subtitle = new ToneLabel(ToneLabel::Tone::secondary, this);
    subtitle->setWordWrap(false);
    subtitle->setText(tr("Paste links or magnets, or drop files below. Review before downloading."));

    auto* texts = new QVBoxLayout;
    texts->setSpacing(Theme::tight / 2);
    texts->addWidget(title);
    texts->addWidget(subtitle);
    auto* header = new QHBoxLayout;
    header->setSpacing(Theme::gap + Theme::tight);
    header->addWidget(new SymbolLabel(u"link.badge.plus"_s, headerSymbol, SymbolLabel::Color::accent, this));
    header->addLayout(texts, 1);
    return header;
}

QLayout* LinkGrabberSheet::makeCountLine() {
    all_ = new QCheckBox(this);
    all_->setAccessibleName(tr("Select all links"));
    all_->setToolTip(all_->accessibleName());
    connect(all_, &QCheckBox::clicked, this, &LinkGrabberSheet::toggleAll);
    count_ = new QLabel(this);
    selected_ = new ToneLabel(ToneLabel::Tone::secondary, this);
    selected_->setAlignment(Qt::AlignTrailing | Qt::AlignVCenter);

    auto* line = new QHBoxLayout;
    line->setContentsMargins(Theme::tight, 0, Theme::tight, 0);
    line->addWidget(all_);
    line->addWidget(count_);
    line->addWidget(selected_, 1);
    return line;
}

QLayout* LinkGrabberSheet::makeOptions() {
    directory_ = new ElidedLabel(this);
    auto* choose = new QPushButton(tr("Choose..."), this);
    choose->setAccessibleName(tr("Choose download folder"));
    connect(choose, &QPushButton::clicked, &grabber_, &LinkGrabber::chooseDirectory);

    connections_ = new QSpinBox(this);
    connections_->setRange(LinkGrabber::minConnections, LinkGrabber::maxConnections);
    connections_->setKeyboardTracking(false);
    connections_->setFocusPolicy(Qt::StrongFocus);
    connections_->setAccessibleName(tr("Connections"));
    connect(connections_, &QSpinBox::valueChanged, &grabber_, &LinkGrabber::setConnections);

    mirrors_ = new QCheckBox(tr("Treat links as mirrors of one file"), this);
    connect(mirrors_, &QCheckBox::toggled, &grabber_, &LinkGrabber::setMirrors);

    checksum_ = new QLineEdit(this);
    checksum_->setPlaceholderText(tr("Optional expected checksum"));
    checksum_->setAccessibleName(u"SHA-256"_s);
    connect(checksum_, &QLineEdit::textChanged, &grabber_, &LinkGrabber::setChecksum);
    checksumNote_ = new ToneLabel(ToneLabel::Tone::secondary, this);
    checksumNote_->setWordWrap(false);
    checksumNote_->setFont(Theme::smaller(font()));

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(Theme::gap + Theme::tight);
    grid->setVerticalSpacing(Theme::gap);
    grid->setColumnStretch(1, 1);
    grid->addWidget(new QLabel(tr("Save to"), this), 0, 0);
    grid->addWidget(directory_, 0, 1);
    grid->addWidget(choose, 0, 2);
    auto* connectionsLabel = new QLabel(tr("Connections"), this);
    connectionsLabel->setBuddy(connections_);
    grid->addWidget(connectionsLabel, 1, 0);
    auto* line = new QHBoxLayout;
    line->setSpacing(Theme::wide);
    line->addWidget(connections_);
    line->addWidget(mirrors_);
    line->addStretch(1);
    grid->addLayout(line, 1, 1, 1, 2);
    auto* checksumLabel = new QLabel(u"SHA-256"_s, this);
    checksumLabel->setBuddy(checksum_);
    grid->addWidget(checksumLabel, 2, 0);
    grid->addWidget(checksum_, 2, 1, 1, 2);
    grid->addWidget(checksumNote_, 3, 1, 1, 2);
    return grid;
}

QWidget* LinkGrabberSheet::makeError() {
    error_ = new QWidget(this);
    errorText_ = new ToneLabel(ToneLabel::Tone::failed, error_);
    auto* line = new QHBoxLayout(error_);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(Theme::gap);
    line->addWidget(
        new SymbolLabel(u"exclamationmark.circle"_s, errorSymbol, SymbolLabel::Color::failed, error_));
    line->addWidget(errorText_, 1);
    return error_;
}

QLayout* LinkGrabberSheet::makeButtons() {
    auto* open = new QPushButton(tr("Open .torrent File..."), this);
    auto* cancel = new QPushButton(tr("Cancel"), this);
    addPaused_ = new QPushButton(tr("Add Paused"), this);
    start_ = new QPushButton(tr("Start Downloads"), this);
    start_->setDefault(true);
    connect(open, &QPushButton::clicked, &grabber_, &LinkGrabber::chooseTorrentFiles);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(addPaused_, &QPushButton::clicked, this, [this] { add(false); });
    connect(start_, &QPushButton::clicked, this, [this] { add(true); });
    // Return alone makes a new line in the editor.
    for (const int key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(key)), this);
        connect(shortcut, &QShortcut::activated, this, [this] { add(true); });
    }

    auto* line = new QHBoxLayout;
    line->setSpacing(Theme::gap);
    line->addWidget(open);
    line->addStretch(1);
    line->addWidget(cancel);
    line->addWidget(addPaused_);
    line->addWidget(start_);
    return line;
}

// What it shows

void LinkGrabberSheet::refresh(LinkGrabber::Field field) {
    switch (field) {
    case LinkGrabber::Field::text:
        break;
    case LinkGrabber::Field::links:
    case LinkGrabber::Field::checked:
    case LinkGrabber::Field::mirrors:
    case LinkGrabber::Field::checksum:
        refreshSelection();
        break;
    case LinkGrabber::Field::directory:
        directory_->setText(QDir::toNativeSeparators(grabber_.directory().toLocalFile()));
        break;
    case LinkGrabber::Field::connections:
        refreshConnections();
        break;
    case LinkGrabber::Field::errorMessage:
        refreshError();
        break;
    }
}

void LinkGrabberSheet::refreshSelection() {
    const qsizetype listed = grabber_.links().size();
    const qsizetype checked = grabber_.checked().size();
    count_->setText(grabber_.countText());
    selected_->setText(grabber_.selectedText());
    all_->setEnabled(listed > 0);
    all_->setCheckState(checked == 0        ? Qt::Unchecked
                        : checked == listed ? Qt::Checked
                                            : Qt::PartiallyChecked);
    checksum_->setEnabled(grabber_.takesChecksum());
    checksumNote_->setTone(grabber_.checksumValid() ? ToneLabel::Tone::secondary : ToneLabel::Tone::failed);
    checksumNote_->setText(grabber_.checksumNote());
    checksum_->setAccessibleDescription(checksumNote_->text());
    addPaused_->setEnabled(grabber_.canAdd());
    start_->setEnabled(grabber_.canAdd());
    refreshConnections();
}

/// The words around the number belong to the stepper.
void LinkGrabberSheet::refreshConnections() {
    const QString number = QString::number(grabber_.connections());
    const QString text = grabber_.connectionsText();
    const qsizetype at = text.indexOf(number);
    connections_->setPrefix(text.first(at));
    connections_->setSuffix(text.sliced(at + number.size()));
    connections_->setValue(static_cast<int>(grabber_.connections()));
}

void LinkGrabberSheet::refreshError() {
    errorText_->setText(grabber_.errorMessage().value_or(QString()));
    error_->setVisible(grabber_.errorMessage().has_value());
}

// What the user does

void LinkGrabberSheet::toggleAll() {
    grabber_.setChecked(grabber_.links(), grabber_.checked().size() < grabber_.links().size());
    // The click has changed the box, whether or not there was anything to change.
    refreshSelection();
}

void LinkGrabberSheet::add(bool start) {
    editor_->commit();
    connections_->interpretText();
    grabber_.add(start);
}

} // namespace fetra
