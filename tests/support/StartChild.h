#pragma once

#include <QString>
#include <QStringList>

class QProcess;

namespace fetra::test {

/// Starts `process` so that it ends with this program, however that ends; throws std::runtime_error when it
/// does not start.
void startChild(QProcess& process, const QString& program, const QStringList& arguments);
/// Throws std::runtime_error for one that has ended: to send it to process 0 would reach ourselves.
void sendSignal(const QProcess& process, int signal);

} // namespace fetra::test
