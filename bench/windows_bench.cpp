// What a list of 10,000 downloads, ten of them running, costs the windows. `windows.py` prepares the list,
// the server and the screen, and makes a table of what this prints: a line with a name and figures for each
// thing measured.

#include "app/Application.h"
#include "app/views/DownloadTable.h"
#include "app/views/RemovalConfirmation.h"
#include "app/views/SidebarView.h"
#include "http/CurlClient.h"
#include "model/FakeDesktop.h"
#include "system/OpenDescriptors.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QStyleOptionSlider>
#include <QTest>
#include <QWheelEvent>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>

#include <malloc.h>
#include <sys/resource.h>

using namespace std::chrono_literals;

namespace {

using namespace fetra;
using namespace Qt::StringLiterals;

constexpr auto settling = 4s;
constexpr auto steady = 10s;
/// Longer than whatever the views put off.
constexpr auto aftermath = 1200ms;
constexpr auto betweenKeys = 150ms;

/// Lets the application run as it does without anyone measuring.
void run(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

double processorSeconds(int of) {
    rusage used{};
    getrusage(of, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

/// What the process and its main thread take, in percent of one core.
void measureProcessor(const char* name) {
    const double before = processorSeconds(RUSAGE_SELF);
    const double mainBefore = processorSeconds(RUSAGE_THREAD);
    QElapsedTimer timer;
    timer.start();
    run(steady);
    const double percent = 100'000.0 / static_cast<double>(timer.elapsed());
    std::printf("processor %s\t%.2f\t%.2f\n", name, (processorSeconds(RUSAGE_SELF) - before) * percent,
                (processorSeconds(RUSAGE_THREAD) - mainBefore) * percent);
}

void reportMemory() {
    QFile file(u"/proc/self/status"_s);
    if (!file.open(QIODevice::ReadOnly))
        return;
    for (const QByteArray& line : file.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            std::printf("resident\t%.1f\n", line.simplified().split(' ').at(1).toDouble() / 1024);
    const auto heap = mallinfo2();
    std::printf("heap\t%.1f\n", static_cast<double>(heap.uordblks + heap.hblkhd) / 1048576);
}

class PaintCounter final : public QObject {
public:
    PaintCounter() { qApp->installEventFilter(this); }

    int count = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }
};

/// Beats every 5 ms while the main thread is free.
class Heartbeat final : public QObject {
public:
    Heartbeat() {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.callOnTimeout(this, [this] { beat(); });
        timer_.start(5ms);
    }

    /// Reports the longest that a beat was late for while `act` and what follows from it ran, and the most
    /// that the main thread itself worked between two beats: other programs take the processor too.
    void measure(const std::string& name, const std::function<void()>& act) {
        beat();
        longest_ = 0;
        longestWork_ = 0;
        act();
        run(aftermath);
        std::printf("%s\t%.1f\t%.1f\n", name.c_str(), longest_, longestWork_);
        std::fflush(stdout);
    }

private:
    static double milliseconds(clockid_t clock) {
        timespec now{};
        clock_gettime(clock, &now);
        return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
    }

    void beat() {
        const double now = milliseconds(CLOCK_MONOTONIC);
        const double work = milliseconds(CLOCK_THREAD_CPUTIME_ID);
        longest_ = std::max(longest_, now - std::exchange(last_, now));
        longestWork_ = std::max(longestWork_, work - std::exchange(lastWork_, work));
    }

    QTimer timer_;
    double last_ = 0;
    double lastWork_ = 0;
    double longest_ = 0;
    double longestWork_ = 0;
};

/// The user before the main window.
class User {
public:
    explicit User(MainWindow& window)
        : window_(window)
        , table_(*window.findChild<DownloadTable*>())
        , sidebar_(*window.findChild<SidebarView*>())
        , search_(*window.findChild<QLineEdit*>()) {}

    void measureEverything() {
        heartbeat_.measure("nothing", [] { run(2s); });
        heartbeat_.measure("wheel", [this] { turnWheel(); });
        heartbeat_.measure("drag", [this] { dragScrollBar(); });
        for (int section = 0; section < downloadColumnCount; ++section)
            heartbeat_.measure("sort " + table_.model()
                                             ->headerData(section, Qt::Horizontal, Qt::DisplayRole)
                                             .toString()
                                             .toStdString(),
                               [this, section] { sortBy(section); });
        sortBy(static_cast<int>(DownloadColumn::added));
        heartbeat_.measure("search", [this] { search(); });
        heartbeat_.measure("filters", [this] { chooseFilters(); });
        heartbeat_.measure("select", [this] { QTest::keyClick(&table_, Qt::Key_A, Qt::ControlModifier); });
        heartbeat_.measure("selected", [] { run(2s); });
        heartbeat_.measure("resume", [this] { trigger(u"Resume All"_s); });
        heartbeat_.measure("pause", [this] { trigger(u"Pause All"_s); });
        heartbeat_.measure("unselect", [this] { table_.clearSelection(); });
        heartbeat_.measure("resume unselected", [this] { trigger(u"Resume All"_s); });
        heartbeat_.measure("pause unselected", [this] { trigger(u"Pause All"_s); });
        heartbeat_.measure("clear", [this] { trigger(u"Clear Completed"_s); });
        heartbeat_.measure("show", [this] {
            window_.hide();
            run(aftermath);
            window_.present();
        });
        reportMemory();
        heartbeat_.measure("remove", [this] { removeAll(); });
    }

private:
    void turnWheel() {
        const QPointF middle = table_.viewport()->rect().center();
        const QScrollBar& bar = *table_.verticalScrollBar();
        while (bar.value() < bar.maximum()) {
            QWheelEvent tenNotches(middle, table_.viewport()->mapToGlobal(middle), {},
                                   QPoint(0, -10 * QWheelEvent::DefaultDeltasPerStep), Qt::NoButton,
                                   Qt::NoModifier, Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(table_.viewport(), &tenNotches);
            run(1ms);
        }
    }

    void dragScrollBar() {
        QScrollBar& bar = *table_.verticalScrollBar();
        QStyleOptionSlider option;
        option.initFrom(&bar);
        option.orientation = Qt::Vertical;
        option.maximum = bar.maximum();
        option.pageStep = bar.pageStep();
        option.sliderPosition = option.sliderValue = bar.value();
        // At the end, after the wheel.
        const QPoint handle =
            bar.style()
                ->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, &bar)
                .center();
        QTest::mousePress(&bar, Qt::LeftButton, {}, handle);
        for (int y = handle.y(); y >= 0; y -= 4) {
            QTest::mouseMove(&bar, QPoint(handle.x(), y));
            run(10ms);
        }
        QTest::mouseRelease(&bar, Qt::LeftButton, {}, QPoint(handle.x(), 0));
        if (bar.value() != 0)
            qFatal("the scroll bar was not dragged");
    }

    /// Up and down.
    void sortBy(int section) {
        QHeaderView& header = *table_.header();
        const QPoint title(header.sectionViewportPosition(section) + header.sectionSize(section) / 2,
                           header.height() / 2);
        for (int click = 0; click < 2; ++click) {
            QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, title);
            run(300ms);
        }
        if (header.sortIndicatorSection() != section)
            qFatal("no sorting by column %d", section);
    }

    void search() {
        for (const QString& words : {u"package 77"_s, u"ubergrosse"_s, u"no such thing"_s}) {
            for (const QChar letter : words) {
                QTest::keyClicks(&search_, letter);
                run(betweenKeys);
            }
            for (qsizetype letter = 0; letter < words.size(); ++letter) {
                QTest::keyClick(&search_, Qt::Key_Backspace);
                run(betweenKeys);
            }
        }
    }

    void chooseFilters() {
        const QAbstractItemModel& rows = *sidebar_.model();
        for (int row = rows.rowCount() - 1; row >= 0; --row) {
            const QModelIndex index = rows.index(row, 0);
            if (!(index.flags() & Qt::ItemIsSelectable))
                continue;
            QTest::mouseClick(sidebar_.viewport(), Qt::LeftButton, {}, sidebar_.visualRect(index).center());
            run(300ms);
            if (sidebar_.currentIndex() != index)
                qFatal("filter %d was not chosen", row);
        }
    }

    void trigger(const QString& title) {
        for (QAction* action : window_.findChildren<QAction*>())
            if (action->text() == title && action->isEnabled())
                return action->trigger();
        qFatal("%s cannot be triggered", qPrintable(title));
    }

    void removeAll() {
        QTest::keyClick(&table_, Qt::Key_A, Qt::ControlModifier);
        run(aftermath);
        QTest::keyClick(&table_, Qt::Key_Delete);
        run(300ms);
        const auto* question = window_.findChild<RemovalConfirmation*>();
        for (QAbstractButton* button : question->buttons())
            if (question->buttonRole(button) == QMessageBox::DestructiveRole)
                button->click();
        while (table_.isVisible())
            run(20ms);
    }

    MainWindow& window_;
    DownloadTable& table_;
    SidebarView& sidebar_;
    QLineEdit& search_;
    Heartbeat heartbeat_;
};

MainWindow& mainWindow() {
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* const window = qobject_cast<MainWindow*>(widget))
            return *window;
    qFatal("no main window");
}

void measureWindows(const DownloadManager::Setup& setup, RunnerFactory& runners, const Clock& clock) {
    Application application({.manager = setup, .appBundle = {}}, runners, clock);
    application.launch();
    MainWindow& window = mainWindow();
    window.resize(window.screen()->availableSize() * 0.95);
    Heartbeat().measure("begin", [] { run(settling); });
    {
        PaintCounter paints;
        measureProcessor("visible");
        std::printf("paints visible\t%.1f\n", paints.count / std::chrono::duration<double>(steady).count());
        auto& table = *window.findChild<DownloadTable*>();
        table.setCurrentIndex(table.model()->index(0, 0));
        measureProcessor("selected");
        table.clearSelection();
        window.hide();
        run(settling / 2);
        paints.count = 0;
        measureProcessor("hidden");
        std::printf("paints hidden\t%d\n", paints.count);
    }
    window.present();
    run(settling / 2);
    User(window).measureEverything();
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    const std::unique_ptr<QCoreApplication> qt = what == "windows"
                                                     ? std::make_unique<QApplication>(argc, argv)
                                                     : std::make_unique<QCoreApplication>(argc, argv);
    OpenDescriptors::raiseLimit();
    CurlClient http;
    SystemClock clock;
    SystemRandom random;
    Ticker ticker;
    EngineRunners runners({http, clock, random, ticker});
    const DownloadManager::Setup setup{.storeURL = DownloadManager::defaultStoreURL()};
    if (what == "windows") {
        measureWindows(setup, runners, clock);
        return 0;
    }
    DownloadManager manager(setup, runners);
    test::FakeDesktop fake;
    std::optional<AppModel> model;
    if (what == "model")
        model.emplace(manager, fake.desktop(), clock).start();
    run(settling);
    measureProcessor(argv[1]);
    return 0;
}
