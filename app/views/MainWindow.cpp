#include "app/views/MainWindow.h"

#include "app/desktop/PreferencesStore.h"
#include "app/model/AppModel.h"
#include "app/model/DownloadCommands.h"
#include "app/model/LinkDrop.h"
#include "app/model/PlatformText.h"
#include "app/views/ClipboardBanner.h"
#include "app/views/DownloadColumns.h"
#include "app/views/DownloadTable.h"
#include "app/views/DropEvents.h"
#include "app/views/EmptyState.h"
#include "app/views/InspectorView.h"
#include "app/views/LinkGrabberSheet.h"
#include "app/views/RemovalConfirmation.h"
#include "app/views/SettingsWindow.h"
#include "app/views/SidebarView.h"
#include "app/views/Sparkline.h"
#include "app/views/StatusBarView.h"
#include "app/views/Symbol.h"
#include "app/views/Theme.h"
#include "transfer/ByteFormat.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <chrono>

using namespace std::chrono_literals;

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize usualSize(1100, 680);
constexpr QSize leastSize(820, 480);
constexpr int narrowestList = 500;
constexpr int searchWidth = 220;

const QString geometryKey = u"mainWindowGeometry"_s;
const QString columnsKey = u"mainWindowColumns"_s;
const QString tableKey = u"downloadTable"_s;

/// A frame in the accent colour that lets the mouse through.
class DropFrame final : public QWidget {
public:
    explicit DropFrame(QWidget* around)
        : QWidget(around) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        around->installEventFilter(this);
        hide();
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize)
            resize(parentWidget()->size());
        return QWidget::eventFilter(watched, event);
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Theme::accent(palette()), 2));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2, 2, -2, -2), Theme::radius, Theme::radius);
    }
};

} // namespace

MainWindow::MainWindow(const Setup& setup)
    : model_(setup.model)
    , commands_(setup.commands)
    , preferences_(setup.preferences)
    , appBundle_(setup.appBundle)
    , quit_(setup.quit)
    , search_(new QLineEdit)
    , throughput_(new Sparkline)
    , columns_(new QSplitter)
    , content_(new QStackedWidget)
    , table_(new DownloadTable(model_))
    , empty_(new EmptyState)
    , inspector_(new InspectorView(model_))
    , contentRefresh_(250ms, [this] { refreshContent(); })
    , dropFrame_(new DropFrame(content_)) {
    setWindowTitle(u"Fetra"_s);
    setAcceptDrops(true);
    makeActions();
    makeMenus();
    makeToolBar();
    makeColumns();
    restore();

    connect(&commands_, &DownloadCommands::changed, this, &MainWindow::refreshCommands);
    connect(&model_.history(), &ThroughputHistory::changed, this, &MainWindow::refreshThroughput);
    connect(&model_.manager(), &DownloadManager::changed, this, [this](DownloadManager::Field field) {
        if (field == DownloadManager::Field::items && isVisible())
            contentRefresh_.request();
    });
    connect(&model_.list(), &ListWatch::itemChanged, this,
            [this](const DownloadManager::Item&, DownloadItem::Field field) {
                if (isVisible() &&
                    (field == DownloadItem::Field::status || field == DownloadItem::Field::filename))
                    contentRefresh_.request();
            });
    connect(&model_.settings(), &AppSettings::changed, this, &MainWindow::showInspector);
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        switch (field) {
        case AppModel::Field::filter:
        case AppModel::Field::search:
            // Setting it moves the cursor.
            if (search_->text() != model_.search())
                search_->setText(model_.search());
            refreshContent();
            break;
        case AppModel::Field::grabber:
            if (model_.grabber())
                LinkGrabberSheet::present(model_, this);
            break;
        case AppModel::Field::removal:
            if (model_.removal())
                RemovalConfirmation::present(model_, this);
            break;
        case AppModel::Field::errorMessage:
            showErrorMessage();
            break;
        default:
            break;
        }
    });
    refreshCommands();
    refreshContent();
    refreshThroughput();
    showInspector();
}

MainWindow::~MainWindow() {
    save();
}

// Making

void MainWindow::makeActions() {
    for (const DownloadCommands::Row& row : commands_.rows()) {
        auto* action = new QAction(this);
        action->setIcon(Symbol::icon(row.symbol));
        action->setShortcut(QKeySequence(commands_.keys(row.command), QKeySequence::PortableText));
        connect(action, &QAction::triggered, this, [perform = row.perform] { perform(); });
        actions_.insert(static_cast<int>(row.command), action);
    }
}

void MainWindow::makeMenus() {
    QMenu* const file = menuBar()->addMenu(tr("&File"));
    QMenu* const edit = menuBar()->addMenu(tr("&Edit"));
    QMenu* const view = menuBar()->addMenu(tr("&View"));
    QMenu* const downloads = menuBar()->addMenu(tr("&Downloads"));
    for (const DownloadCommands::Row& row : commands_.rows()) {
        QMenu* const menu = row.menu == DownloadCommands::Menu::file   ? file
                            : row.menu == DownloadCommands::Menu::view ? view
                                                                       : downloads;
        if (row.beginsGroup)
            menu->addSeparator();
        menu->addAction(actions_.value(static_cast<int>(row.command)));
    }
    view->addSeparator();
    view->addMenu(&table_->columns().menu());
    file->addSeparator();
    // Not every desktop has a key of its own for this.
    QAction* const quit = file->addAction(tr("&Quit"), QKeySequence(u"Ctrl+Q"_s), this, [this] { quit_(); });
    quit->setShortcutContext(Qt::ApplicationShortcut);
    edit->addAction(tr("&Find"), QKeySequence::Find, this, [this] {
        search_->setFocus(Qt::ShortcutFocusReason);
        search_->selectAll();
    });
    edit->addAction(tr("Select &All"), table_, &DownloadTable::selectAll);
    edit->addSeparator();
    QAction* const settings = edit->addAction(tr("&Settings..."), this, &MainWindow::showSettings);
    settings->setShortcut(QKeySequence(u"Ctrl+,"_s));
    settings->setIcon(Symbol::icon(u"gearshape"_s));
}

void MainWindow::makeToolBar() {
    QToolBar* const bar = addToolBar(tr("Toolbar"));
    bar->setObjectName(u"toolbar"_s);
    bar->setMovable(false);
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    bar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    bar->setIconSize({20, 20});
    const auto addButton = [&](DownloadCommands::Command command) {
        bar->addAction(actions_.value(static_cast<int>(command)));
    };
    const QList<DownloadCommands::Command> commands = DownloadCommands::toolbar();
    for (const DownloadCommands::Command command : commands.first(commands.size() - 1))
        addButton(command);

    auto* const space = new QWidget;
    space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(space);
    const auto addGap = [bar] {
        auto* const gap = new QWidget;
        gap->setFixedWidth(Theme::gap);
        bar->addWidget(gap);
    };
    throughput_->setToolTip(tr("Total throughput over the last 120 seconds"));
    throughput_->setFixedSize(throughput_->sizeHint());
    bar->addWidget(throughput_);
    search_->setPlaceholderText(tr("Search downloads"));
    search_->setAccessibleName(tr("Search downloads"));
    search_->setClearButtonEnabled(true);
    search_->addAction(Symbol::icon(u"magnifyingglass"_s), QLineEdit::LeadingPosition);
    search_->setFixedWidth(searchWidth);
    connect(search_, &QLineEdit::textChanged, &model_, &AppModel::setSearch);
    addGap();
    bar->addWidget(search_);
    addGap();
    addButton(commands.last());
}

void MainWindow::makeColumns() {
    content_->addWidget(table_);
    content_->addWidget(empty_);
    connect(empty_, &EmptyState::actionTriggered, &model_, [this] { model_.showGrabber(); });

    auto* const middle = new QWidget;
    middle->setMinimumWidth(narrowestList);
    auto* const rows = new QVBoxLayout(middle);
    rows->setContentsMargins({});
    rows->setSpacing(0);
    rows->addWidget(new ClipboardBanner(model_));
    rows->addWidget(content_, 1);
    rows->addWidget(new StatusBarView(model_));

    auto* const sidebar = new SidebarView(model_);
    sidebar->setMinimumWidth(SidebarView::minWidth);
    sidebar->setMaximumWidth(SidebarView::maxWidth);
    inspector_->setMinimumWidth(InspectorView::narrowest);
    inspector_->setMaximumWidth(InspectorView::widest);
    for (QWidget* const column : {static_cast<QWidget*>(sidebar), middle, static_cast<QWidget*>(inspector_)})
        columns_->addWidget(column);
    columns_->setChildrenCollapsible(false);
    columns_->setHandleWidth(1);
    columns_->setStretchFactor(1, 1);
    setCentralWidget(columns_);
    table_->setFocus();
}

// What is remembered

void MainWindow::restore() {
    if (!restoreGeometry(preferences_.value(geometryKey).toByteArray()))
        resize(usualSize.boundedTo(screen()->availableSize()));
    if (!columns_->restoreState(preferences_.value(columnsKey).toByteArray()))
        columns_->setSizes(
            {columns_->widget(0)->sizeHint().width(), usualSize.width(), inspector_->sizeHint().width()});
    table_->columns().restoreState(preferences_.value(tableKey).toByteArray());
}

void MainWindow::save() const {
    preferences_.setValue(geometryKey, saveGeometry());
    preferences_.setValue(columnsKey, columns_->saveState());
    preferences_.setValue(tableKey, table_->columns().saveState());
}

// Following the model

void MainWindow::refreshCommands() {
    for (const DownloadCommands::Row& row : commands_.rows()) {
        QAction* const action = actions_.value(static_cast<int>(row.command));
        action->setText(row.title());
        action->setIconText(commands_.toolbarTitle(row.command));
        const QString help = commands_.help(row.command);
        action->setToolTip(help.isEmpty() ? commands_.toolbarTitle(row.command) : help);
        action->setEnabled(row.isEnabled());
    }
}

void MainWindow::refreshContent() {
    const std::optional<EmptyState::Content> why = EmptyState::contentFor(model_);
    if (why)
        empty_->setContent(*why);
    content_->setCurrentWidget(why ? static_cast<QWidget*>(empty_) : table_);
    setWindowTitle(u"Fetra – %1"_s.arg(model_.filter().value_or(DownloadFilter::all).title()));
}

void MainWindow::refreshThroughput() {
    throughput_->setSamples(model_.history().total());
    throughput_->setAccessibleName(
        tr("Total speed, %1").arg(ByteFormat::rate(model_.manager().totalBytesPerSecond())));
}

void MainWindow::showInspector() {
    inspector_->setVisible(model_.settings().isOn(AppSettings::showInspector));
    columns_->setMinimumSize(leastSize.expandedTo(columns_->minimumSizeHint()));
}

void MainWindow::showErrorMessage() {
    if (errorAlert_)
        errorAlert_->deleteLater();
    errorAlert_ = nullptr;
    if (!model_.errorMessage())
        return;
    auto* const alert = new QMessageBox(QMessageBox::Warning, u"Fetra"_s, u"Fetra"_s, QMessageBox::Ok, this);
    alert->setTextFormat(Qt::PlainText);
    alert->setInformativeText(*model_.errorMessage());
    errorAlert_ = alert;
    connect(alert, &QDialog::finished, this, [this, alert] {
        if (errorAlert_ == alert)
            model_.setErrorMessage(std::nullopt);
    });
    alert->open();
}

void MainWindow::showSettings() {
    if (!settings_) {
        settings_ = new SettingsWindow(model_, appBundle_, this);
        settings_->setWindowFlag(Qt::Window);
    }
    settings_->show();
    settings_->raise();
    settings_->activateWindow();
}

void MainWindow::present() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

// Events

void MainWindow::showEvent(QShowEvent* event) {
    refreshContent();
    QMainWindow::showEvent(event);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    save();
    if (mayClose_ && !mayClose_()) {
        event->ignore();
        return;
    }
    if (settings_)
        settings_->close();
    QMainWindow::closeEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    // A sheet does not keep drops from the window behind it.
    if (LinkDrop::itemsIn(*event->mimeData()).isEmpty() || model_.isTerminating() ||
        QApplication::activeModalWidget())
        return;
    setDropTargeted(acceptWithoutMoving(*event));
}

void MainWindow::dragMoveEvent(QDragMoveEvent* event) {
    acceptWithoutMoving(*event);
}

void MainWindow::dragLeaveEvent(QDragLeaveEvent*) {
    setDropTargeted(false);
}

void MainWindow::dropEvent(QDropEvent* event) {
    setDropTargeted(false);
    if (!acceptWithoutMoving(*event))
        return;
    const QPointer model(&model_);
    const bool isUsable = LinkDrop::accept(LinkDrop::itemsIn(*event->mimeData()),
                                           {
                                               .receive =
                                                   [model](const QString& text) {
                                                       if (model)
                                                           model->showGrabber(text);
                                                   },
                                               .receiveFiles =
                                                   [model](const QList<QUrl>& files) {
                                                       if (model)
                                                           model->openTorrentFiles(files);
                                                   },
                                               .onError =
                                                   [model](const QString& message) {
                                                       if (model)
                                                           model->setErrorMessage(message);
                                                   },
                                           });
    if (!isUsable)
        event->ignore();
}

void MainWindow::setDropTargeted(bool targeted) {
    dropFrame_->resize(content_->size());
    dropFrame_->raise();
    dropFrame_->setVisible(targeted);
}

} // namespace fetra
