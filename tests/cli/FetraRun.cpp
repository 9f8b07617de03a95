#include "FetraRun.h"

#include <fcntl.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

ProgramRun::Setup programSetup(const FetraRun::Setup& setup) {
    QProcessEnvironment environment;
    const QStringList plain{u"PATH=/usr/bin:/bin"_s, u"HOME="_s + setup.folder, u"LANG=C.UTF-8"_s,
                            u"TERM=xterm-256color"_s};
    for (const QString& assignment : plain + setup.environment)
        environment.insert(assignment.section(u'=', 0, 0), assignment.section(u'=', 1));
    return {.program = QStringLiteral(FETRA_BIN_DIR "/fetra"),
            .arguments = setup.arguments,
            .environment = environment,
            .folder = setup.folder,
            .inChild = setup.inChild};
}

} // namespace

FetraRun::FetraRun(const Setup& setup)
    : ProgramRun(programSetup(setup)) {}

Terminal::Terminal(int columns, int rows) {
    if (::openpty(&master_, &slave_, nullptr, nullptr, nullptr) != 0)
        throw std::runtime_error("no pseudo-terminal");
    resize(columns, rows);
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

std::function<void()> Terminal::connect() const {
    return [end = slave_] { ::dup2(end, STDERR_FILENO); };
}

bool Terminal::becomes(ProgramRun& run, const std::function<bool(const QStringList& lines)>& condition) {
    return run.runUntil([&] {
        update();
        return condition(lines());
    });
}

bool Terminal::shows(ProgramRun& run, const QString& part) {
    return becomes(run, [&](const QStringList& lines) { return lines.join(u'\n').contains(part); });
}

std::optional<int> Terminal::end(ProgramRun& run) {
    static_cast<void>(becomes(run, [](const QStringList&) { return false; }));
    const std::optional<int> status = run.exitStatus();
    update();
    return status;
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
    }
}

QStringList Terminal::lines() const {
    QStringList lines = lines_;
    while (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

} // namespace fetra::test
