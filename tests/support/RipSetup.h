#pragma once

#include "DiscImages.h"
#include "FakeClock.h"
#include "FakeServices.h"
#include "TestEnvironment.h"
#include "facade/CDRipController.h"
#include "facade/Library.h"
#include "metadata/MetadataHTTPClient.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

// A library of its own, fake services on a fake clock, and one rip controller reading a
// scripted drive: what the controller's tests and the screen's tests share.
struct RipSetup {
    // A cover search still under way would outlive the test's servers.
    bool coverSearchEnded()
    {
        return QTest::qWaitFor([this] { return !controller.isFetchingArtwork(); }, 10000);
    }

    QTemporaryDir folder;
    TemporaryStores stores;
    FakeServices services;
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    MetadataHTTPClient client{MetadataHTTPClient::Options{.clock = clock}};
    Library library{QUrl::fromLocalFile(stores.folder() + QStringLiteral("/Music"))};
    std::shared_ptr<DiscImages::ScriptedDrive> drive = std::make_shared<DiscImages::ScriptedDrive>();
    CDRipController controller{client, [this](RipStrategyKind) { return DiscImages::scriptedStrategy(drive); }};
    DiscImages::WrittenImage image;
    DiscTOC toc;
};
