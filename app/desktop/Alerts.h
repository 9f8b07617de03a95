#pragma once

#include <QString>
#include <QStringList>

#include <functional>

namespace fetra {

struct Alert {
    QString message;
    QString informativeText;
    /// The first is the default, the last answers Escape.
    QStringList buttons;
};

/// Modal warnings that want an answer. Main thread only.
class Alerts {
public:
    virtual ~Alerts() = default;

    /// Returns at once; `answered` is called once, later, with the index of the button.
    virtual void warn(const Alert& alert, std::function<void(qsizetype button)> answered) = 0;
};

} // namespace fetra
