#include "app/views/SettingsWindow.h"

#include "app/model/AppModel.h"
#include "app/model/PlatformText.h"
#include "app/views/ElidedLabel.h"
#include "app/views/Symbol.h"
#include "app/views/SymbolLabel.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize usualSize(520, 440);
constexpr int appIconSide = 96;
constexpr qreal nameScale = 1.8;
/// Of the field for a limit, and as many as a number of 64 bits surely has room for.
constexpr int shownDigits = 8;
constexpr auto wholeNumber = "\\s*-?[0-9]{0,18}\\s*";

QHBoxLayout* addRow(QVBoxLayout& rows) {
    auto* row = new QHBoxLayout;
    row->setSpacing(Theme::gap);
    rows.addLayout(row);
    return row;
}

void addHeading(QVBoxLayout& rows, const QString& title, QWidget* parent) {
    if (rows.count() > 0)
        rows.addSpacing(Theme::gap + Theme::tight);
    auto* heading = new QLabel(title, parent);
    heading->setFont(Theme::bold(heading->font()));
    rows.addWidget(heading);
}

void addNote(QVBoxLayout& rows, const QString& text, QWidget* parent) {
    auto* note = new ToneLabel(ToneLabel::Tone::secondary, parent);
    note->setFont(Theme::smaller(note->font()));
    note->setText(text);
    rows.addWidget(note);
}

} // namespace

SettingsWindow::SettingsWindow(AppModel& model, const QUrl& appBundle, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , model_(model)
    , pane_(model) {
    setWindowTitle(tr("Settings"));
    auto* tabs = new QTabWidget(this);
    tabs->setDocumentMode(true);
    tabs->addTab(makeGeneral(), Symbol::icon(u"gearshape"_s), tr("General"));
    tabs->addTab(makeAbout(appBundle), Symbol::icon(u"info.circle"_s), tr("About"));
    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->addWidget(tabs);

    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, &QWidget::close);
    connect(&model_.manager(), &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (field != DownloadManager::Field::items && isVisible())
            refresh();
    });
    connect(&model_.settings(), &AppSettings::changed, this, [this] {
        if (isVisible())
            refresh();
    });
    refresh();
}

// The tab for settings

QWidget* SettingsWindow::makeGeneral() {
    auto* area = new QScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    auto* page = new QWidget(area);
    auto* rows = new QVBoxLayout(page);
    rows->setContentsMargins(Theme::wide, Theme::wide, Theme::wide, Theme::wide);
    rows->setSpacing(Theme::tight + Theme::tight / 2);
    addDownloads(*rows);
    addTorrents(*rows);
    addIntegration(*rows);
    rows->addStretch(1);
    area->setWidget(page);
    // Scrolls where a screen is small, and not for a few lines.
    const int height = page->heightForWidth(usualSize.width()) + fontMetrics().height() + 4 * Theme::gap;
    resize(usualSize.expandedTo({0, height}));
    return area;
}

void SettingsWindow::addDownloads(QVBoxLayout& rows) {
    addHeading(rows, tr("Downloads"), this);
    QHBoxLayout* row = addRow(rows);
    row->addWidget(new QLabel(tr("Download folder"), this));
    directory_ = new ElidedLabel(this);
    directory_->setAlignment(Qt::AlignTrailing | Qt::AlignVCenter);
    row->addWidget(directory_, 1);
    auto* choose = new QPushButton(tr("Choose..."), this);
    choose->setAccessibleName(tr("Choose download folder"));
    connect(choose, &QPushButton::clicked, &pane_, &SettingsPane::chooseDefaultDirectory);
    row->addWidget(choose);

    autoStart_ = new QCheckBox(tr("Start queued downloads on launch"), this);
    connect(autoStart_, &QCheckBox::toggled, &pane_, &SettingsPane::setAutoStart);
    rows.addWidget(autoStart_);

    simultaneous_ = makeStepper(SettingsPane::simultaneousDownloads, tr("Simultaneous downloads"));
    connect(simultaneous_, &QSpinBox::valueChanged, &pane_, &SettingsPane::setMaxConcurrentDownloads);
    row = addRow(rows);
    row->addWidget(new QLabel(tr("Simultaneous downloads:"), this));
    row->addStretch(1);
    row->addWidget(simultaneous_);

    connections_ = makeStepper(SettingsPane::connections, tr("Connections per download"));
    connect(connections_, &QSpinBox::valueChanged, &pane_, &SettingsPane::setConnectionsPerDownload);
    row = addRow(rows);
    row->addWidget(new QLabel(tr("Connections per download:"), this));
    row->addStretch(1);
    row->addWidget(connections_);
}

void SettingsWindow::addTorrents(QVBoxLayout& rows) {
    addHeading(rows, tr("Torrents"), this);
    uploadLimit_ = new QLineEdit(this);
    uploadLimit_->setValidator(
        new QRegularExpressionValidator(QRegularExpression(QLatin1StringView(wholeNumber)), uploadLimit_));
    uploadLimit_->setAlignment(Qt::AlignTrailing);
    uploadLimit_->setMaximumWidth(fontMetrics().horizontalAdvance(u'0') * shownDigits + 3 * Theme::gap);
    uploadLimit_->setAccessibleName(tr("Torrent upload limit in KB/s"));
    connect(uploadLimit_, &QLineEdit::editingFinished, this, &SettingsWindow::commitUploadLimit);
    QHBoxLayout* row = addRow(rows);
    row->addWidget(new QLabel(tr("Upload limit"), this));
    row->addStretch(1);
    row->addWidget(uploadLimit_);
    row->addWidget(new QLabel(tr("KB/s"), this));

    seeding_ = new QCheckBox(tr("Keep seeding after download"), this);
    connect(seeding_, &QCheckBox::toggled, &pane_, &SettingsPane::setTorrentSeedAfterComplete);
    rows.addWidget(seeding_);
    addNote(rows, SettingsPane::uploadLimitNote(), this);
}

void SettingsWindow::addIntegration(QVBoxLayout& rows) {
    addHeading(rows, tr("Integration"), this);
    addSwitch(rows, AppSettings::notifyOnFinish, tr("Notify when downloads finish"));
    addSwitch(rows, AppSettings::showMenuBar, platformText(tr("Show in menu bar")));
    addSwitch(rows, AppSettings::watchClipboard, tr("Watch clipboard for links"));
    addNote(rows, SettingsPane::clipboardNote(), this);
}

QSpinBox* SettingsWindow::makeStepper(SettingsPane::Range range, const QString& name) {
    auto* stepper = new QSpinBox(this);
    stepper->setRange(static_cast<int>(range.least), static_cast<int>(range.most));
    stepper->setKeyboardTracking(false);
    // A wheel that scrolls the page must not change a setting.
    stepper->setFocusPolicy(Qt::StrongFocus);
    stepper->setAlignment(Qt::AlignTrailing);
    stepper->setAccessibleName(name);
    return stepper;
}

void SettingsWindow::addSwitch(QVBoxLayout& rows, const char* key, const QString& title) {
    auto* box = new QCheckBox(title, this);
    connect(box, &QCheckBox::toggled, this, [this, key](bool on) { model_.settings().set(key, on); });
    rows.addWidget(box);
    switches_.append({key, box});
}

// The tab about the application

QWidget* SettingsWindow::makeAbout(const QUrl& appBundle) {
    auto* page = new QWidget(this);
    auto* icon = new QLabel(page);
    icon->setAccessibleName(tr("Fetra app icon"));
    const QIcon appIcon = QApplication::windowIcon();
    icon->setPixmap((appIcon.isNull() ? Symbol::icon(u"arrow.down.circle"_s) : appIcon)
                        .pixmap(QSize(appIconSide, appIconSide), devicePixelRatioF()));
    auto* name = new QLabel(u"Fetra"_s, page);
    name->setFont(Theme::scaled(Theme::bold(name->font()), nameScale));
    auto* version = new ToneLabel(ToneLabel::Tone::secondary, page);
    version->setText(SettingsPane::versionText());
    auto* line = new QLabel(tr("Fast, segmented downloads with parallel connections."), page);
    auto* introduction = new ToneLabel(ToneLabel::Tone::secondary, page);
    introduction->setText(tr("The command line tool is included at"));
    auto* path = new QLabel(SettingsPane::commandLinePath(appBundle), page);
    path->setTextFormat(Qt::PlainText);
    path->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    path->setWordWrap(true);
    path->setAccessibleName(introduction->text());

    auto* rows = new QVBoxLayout(page);
    rows->setContentsMargins(Theme::wide, Theme::wide, Theme::wide, Theme::wide);
    rows->setSpacing(Theme::tight);
    rows->addStretch(2);
    for (QLabel* each : {icon, name, static_cast<QLabel*>(version)}) {
        each->setAlignment(Qt::AlignCenter);
        rows->addWidget(each);
    }
    rows->addSpacing(Theme::wide);
    for (QLabel* each : {line, static_cast<QLabel*>(introduction), path}) {
        each->setAlignment(Qt::AlignCenter);
        rows->addWidget(each);
    }
    rows->insertSpacing(rows->indexOf(introduction), Theme::wide);
    rows->addStretch(3);
    return page;
}

// Values

void SettingsWindow::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

void SettingsWindow::hideEvent(QHideEvent* event) {
    commitUploadLimit();
    QWidget::hideEvent(event);
}

void SettingsWindow::refresh() {
    const DownloadManager& manager = model_.manager();
    // What is shown is not what the user sets.
    const QSignalBlocker blocked[] = {QSignalBlocker(autoStart_), QSignalBlocker(simultaneous_),
                                      QSignalBlocker(connections_), QSignalBlocker(seeding_)};
    directory_->setText(QDir::toNativeSeparators(manager.defaultDirectory().toLocalFile()));
    autoStart_->setChecked(manager.autoStart());
    simultaneous_->setValue(static_cast<int>(manager.maxConcurrentDownloads()));
    connections_->setValue(static_cast<int>(manager.connectionsPerDownload()));
    seeding_->setChecked(manager.torrentSeedAfterComplete());
    if (!uploadLimit_->isModified())
        uploadLimit_->setText(QString::number(manager.torrentUploadLimitKB()));
    for (const auto& [key, box] : switches_) {
        const QSignalBlocker blockedBox(box);
        box->setChecked(model_.settings().isOn(key));
    }
}

void SettingsWindow::commitUploadLimit() {
    if (!uploadLimit_->isModified())
        return;
    uploadLimit_->setModified(false);
    bool isNumber = false;
    const qint64 limit = uploadLimit_->text().trimmed().toLongLong(&isNumber);
    if (isNumber)
        pane_.setTorrentUploadLimitKB(limit);
    refresh();
}

} // namespace fetra
