#include "transfer/ErrorSentence.h"

#include "http/TransportError.h"
#include "system/PosixError.h"
#include "transfer/DownloadError.h"

namespace fetra {

QString errorSentence(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const DownloadError& e) {
        return e.errorDescription();
    } catch (const TransportError& e) {
        return e.description();
    } catch (const PosixError& e) {
        return e.description();
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    }
}

} // namespace fetra
