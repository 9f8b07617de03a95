#pragma once

#include "manager/TransferRunner.h"

namespace fetra::test {

/// For lists whose downloads never start.
class NoRunners final : public RunnerFactory {
public:
    [[nodiscard]] std::unique_ptr<HTTPRunner> makeDownloader(const DownloadOptions&) override {
        return nullptr;
    }
    [[nodiscard]] std::unique_ptr<TorrentRunner> makeTorrentDownloader(const TorrentOptions&) override {
        return nullptr;
    }
};

} // namespace fetra::test
