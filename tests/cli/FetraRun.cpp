#include "FetraRun.h"

#include "support/Eventually.h"

#include <QJsonDocument>
#include <QProcessEnvironment>

#include <csignal>
#include <fcntl.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fetra::test {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

FetraRun::FetraRun(const Setup& setup) {
    QProcessEnvironment environment;
    environment.insert(u"PATH"_s, u"/usr/bin:/bin"_s);
    environment.insert(u"HOME"_s, setup.folder);
    environment.insert(u"LANG"_s, u"C.UTF-8"_s);
    environment.insert(u"TERM"_s, u"xterm-256color"_s);
    for (const QString& assignment : setup.environment)
        environment.insert(assignment.section(u'=', 0, 0), assignment.section(u'=', 1));
    process_.setProcessEnvironment(environment);
    process_.setWorkingDirectory(setup.folder);
    process_.setChildProcessModifier([inChild = setup.inChild] {
        // The program keeps ignoring what its parent does, and a shell starts its background jobs so.
        for (const int number : {SIGINT, SIGHUP, SIGTERM, SIGQUIT})
            std::signal(number, SIG_DFL);
        if (inChild)
            inChild();
    });
    process_.start(QStringLiteral(FETRA_BIN_DIR "/fetra"), setup.arguments);
    if (!process_.waitForStarted())
        throw std::runtime_error("the program does not start");
}

FetraRun::~FetraRun() {
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished();
    }
}

void FetraRun::send(int signal) {
    // 0 after its end would mean everybody in the group of this process.
    if (process_.processId() > 0)
        ::kill(pid_t(process_.processId()), signal);
}

bool FetraRun::runUntil(const std::function<bool()>& condition) {
    bool held = false;
    const bool ended = eventually(30s, [&] {
        const bool running = !process_.waitForFinished(5) && process_.state() == QProcess::Running;
        collect();
        held = condition();
        return held || !running;
    });
    return ended && held;
}

std::optional<int> FetraRun::exitStatus() {
    if (process_.state() != QProcess::NotRunning)
        process_.waitForFinished(30'000);
    collect();
    if (process_.state() != QProcess::NotRunning || process_.exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return process_.exitCode();
}

QList<QJsonObject> FetraRun::events() const {
    QList<QJsonObject> events;
    for (const QByteArray& line : output_.split('\n'))
        if (!line.isEmpty())
            events += QJsonDocument::fromJson(line).object();
    return events;
}

void FetraRun::collect() {
    output_ += process_.readAllStandardOutput();
    errors_ += process_.readAllStandardError();
}

Terminal::Terminal(int columns, int rows)
    : columns_(columns) {
    winsize size{.ws_row = ushort(rows), .ws_col = ushort(columns), .ws_xpixel = 0, .ws_ypixel = 0};
    if (::openpty(&master_, &slave_, nullptr, nullptr, &size) != 0)
        throw std::runtime_error("no pseudo-terminal");
    for (const int end : {master_, slave_})
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    ::fcntl(master_, F_SETFL, O_NONBLOCK);
}

Terminal::~Terminal() {
    ::close(slave_);
    ::close(master_);
}

void Terminal::resize(int columns, int rows) {
    columns_ = columns;
    const winsize size{.ws_row = ushort(rows), .ws_col = ushort(columns), .ws_xpixel = 0, .ws_ypixel = 0};
    ::ioctl(master_, TIOCSWINSZ, &size);
}

void Terminal::update() {
    char buffer[4096];
    for (ssize_t count = 0; (count = ::read(master_, buffer, sizeof buffer)) > 0;)
        raw_.append(buffer, qsizetype(count));
    // A frame ends in a control sequence or a line feed; an incomplete one waits for the rest.
    const qsizetype end = std::max(raw_.lastIndexOf('\n'), raw_.lastIndexOf('h')) + 1;
    if (end > taken_)
        take(QString::fromUtf8(raw_.mid(taken_, end - taken_)));
    taken_ = std::max(taken_, end);
}

QString& Terminal::line() {
    while (lines_.size() <= row_)
        lines_ += QString();
    return lines_[row_];
}

void Terminal::take(QStringView text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'\x1b') {
            qsizetype end = i + 2;
            while (end < text.size() && !text[end].isLetter())
                ++end;
            control(text.mid(i + 2, end - i - 1));
            i = end;
        } else if (text[i] == u'\r') {
            column_ = 0;
        } else if (text[i] == u'\n') {
            ++row_;
        } else {
            line() = line().leftJustified(column_).left(column_) + text[i] + line().mid(column_ + 1);
            overrun_ |= ++column_ > columns_;
        }
    }
}

void Terminal::control(QStringView sequence) {
    if (sequence == "K"_L1 || sequence == "J"_L1) {
        line().truncate(column_);
        if (sequence == "J"_L1)
            lines_.resize(row_ + 1);
    } else if (sequence.endsWith(u'A')) {
        row_ -= sequence.chopped(1).toInt();
    } else if (sequence == "?25l"_L1 || sequence == "?25h"_L1) {
        cursorVisible_ = sequence.endsWith(u'h');
        cursorWasHidden_ |= !cursorVisible_;
    }
}

QStringList Terminal::lines() const {
    QStringList lines = lines_;
    while (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

} // namespace fetra::test
