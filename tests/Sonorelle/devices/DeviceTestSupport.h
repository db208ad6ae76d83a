#pragma once

#include "devices/DeviceSyncController.h"
#include "facade/Library.h"
#include "platform/VolumeSource.h"
#include "podcasts/PodcastStore.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The machine's volumes as a test lists them; appeared and disappeared are emitted by hand.
class ListedVolumes final : public VolumeSource {
public:
    explicit ListedVolumes(QList<Volume> listing = {}) : m_listing(std::move(listing)) {}
    QList<Volume> mountedVolumes() const override { return m_listing; }
    void start() override {}
    void stop() override {}

private:
    QList<Volume> m_listing;
};

// A library of its own whose tracks are small real files, and devices that are temporary
// folders: the engine copies for real, and nothing outside the test's folders is touched.
struct DeviceFixture {
    TemporaryStores stores;
    QTemporaryDir devices;
    std::unique_ptr<Library> library;

    DeviceFixture() { TestEnvironment::clearSettings(); }
    ~DeviceFixture() { TestEnvironment::clearSettings(); }

    QString musicRoot() const { return stores.folder() + QStringLiteral("/Music"); }

    // Podcasts must be in their store before the library is made.
    void openLibrary(const QList<Podcast>& podcasts = {}, const QList<Episode>& episodes = {})
    {
        if (!podcasts.isEmpty())
            PodcastStore::save(podcasts, episodes);
        library = std::make_unique<Library>(QUrl::fromLocalFile(musicRoot()));
    }

    Track addTrack(const QString& title, const QString& artist = QStringLiteral("Band"))
    {
        Track track = makeTrack(title, artist, QStringLiteral("Record"));
        const QString path = musicRoot() + u'/' + artist + QStringLiteral("/Record/") + title + QStringLiteral(".mp3");
        writeFile(path, "audio of " + title.toUtf8());
        track.url = QUrl::fromLocalFile(path);
        track.format = AudioFormat::mp3;
        library->add(track);
        return track;
    }

    // A folder standing for a mounted device.
    QString device(const QString& name) const
    {
        const QString path = devices.filePath(name);
        QDir().mkpath(path);
        return path;
    }

    template <typename Change>
    DeviceProfile addProfile(const QString& name, const QString& root, Change change)
    {
        DeviceProfile profile = library->createDeviceProfile(name, root);
        profile.syncPodcasts = false;
        change(profile);
        library->updateDeviceProfile(profile);
        return profile;
    }

    DeviceProfile addProfile(const QString& name, const QString& root)
    {
        return addProfile(name, root, [](DeviceProfile&) {});
    }

    static bool waitFor(const DeviceSyncController& controller, auto predicate)
    {
        return QTest::qWaitFor([&] { return predicate(controller.state()); }, 10000);
    }

    template <typename State>
    static bool waitUntil(const DeviceSyncController& controller)
    {
        return waitFor(controller, [](const SyncControllerState& s) { return std::holds_alternative<State>(s); });
    }

    static bool exists(const QString& path) { return QFileInfo::exists(path); }
};
