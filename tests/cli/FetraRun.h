#pragma once

#include "support/ProgramRun.h"

namespace fetra::test {

/// One start of the real program, with an environment of its own.
class FetraRun : public ProgramRun {
public:
    struct Setup {
        QStringList arguments;
        QString folder;
        /// Over the plain environment, for example "TERM=dumb".
        QStringList environment = {};
        /// Runs in the child before the program does.
        std::function<void()> inChild = {};
    };
    explicit FetraRun(const Setup& setup);
};

/// A pseudo-terminal that a program draws on, and the picture that results: just enough of one to tell a
/// block that is redrawn in place from one that leaves rubbish behind.
class Terminal {
public:
    Terminal(int columns, int rows);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// For the child: it draws here.
    [[nodiscard]] std::function<void()> connect() const;
    /// Whether the picture came to be as asked while the program runs.
    [[nodiscard]] bool becomes(ProgramRun& run,
                               const std::function<bool(const QStringList& lines)>& condition);
    [[nodiscard]] bool shows(ProgramRun& run, const QString& part);
    /// Waits for the end; answers the status.
    [[nodiscard]] std::optional<int> end(ProgramRun& run);
    /// Tells the program by itself only where this is its controlling terminal.
    void resize(int columns, int rows);

    /// All lines that were ever on the screen, those scrolled away first, without empty ones at the end.
    [[nodiscard]] QStringList lines() const;
    [[nodiscard]] bool isCursorVisible() const { return cursorVisible_; }
    /// Whether something was drawn beyond the last column.
    [[nodiscard]] bool wasOverrun() const { return overrun_; }
    /// Everything that came, as it came.
    [[nodiscard]] const QByteArray& raw() const { return raw_; }

private:
    void update();
    void take(QStringView text);
    void control(QStringView sequence);
    QString& line();

    int master_ = -1;
    int slave_ = -1;
    int columns_ = 0;
    QByteArray raw_;
    qsizetype taken_ = 0;
    QStringList lines_;
    qsizetype row_ = 0;
    qsizetype column_ = 0;
    bool cursorVisible_ = true;
    bool overrun_ = false;
};

} // namespace fetra::test
