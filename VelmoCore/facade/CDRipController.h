#pragma once

#include "disc/CDImporter.h"
#include "disc/DiscRipStrategy.h"
#include "disc/DiscTOC.h"
#include "library/Track.h"
#include "metadata/ArtworkFetcher.h"
#include "metadata/MetadataHTTPClient.h"
#include "metadata/ReleaseMetadata.h"

#include <QByteArray>
#include <QHash>
#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <variant>

class Library;

// Where one track of the disc stands during and after a rip.
namespace TrackRipStates {
struct Ripping {
    double fractionComplete = 0;
};
struct Done {
    Track track;
    // What AccurateRip said of this rip; none for a track the library held already.
    std::optional<AccurateRip::Verdict> verdict;
    // What CTDB said: of the track alone while the rip goes on, of the whole disc once it is over.
    std::optional<CTDB::Verdict> ctdbVerdict;
};
struct Failed {
    CDImporter::TrackError error;
};
struct Waiting {};
} // namespace TrackRipStates

using TrackRipState =
    std::variant<TrackRipStates::Ripping, TrackRipStates::Done, TrackRipStates::Failed, TrackRipStates::Waiting>;

// Which of a release's tracks the library holds already.
struct ExistingRipInfo {
    QSet<qint64> presentIndices; // 0-based
    qint64 totalTracks = 0;

    // The others, ascending.
    QList<qint64> missingIndices() const;

    bool operator==(const ExistingRipInfo&) const = default;
};

// The disc screen's state: one case per screen.
namespace RipStates {
struct LookupFailed {
    QString message;
    // MusicBrainz answered that it doesn't know the disc: it can be told of it.
    bool discUnknown = false;
    // The disc that was read before the lookup failed: it can be ripped without metadata.
    // None when the disc itself couldn't be read.
    std::optional<DiscTOC> toc;
};
struct Ready {
    QList<ReleaseMetadata> allReleases;
    qsizetype selectedIndex = 0;
    ExistingRipInfo existing;
    // A disc without a release: its one release holds the names the user gives it.
    bool unnamed = false;
};
struct Ripping {
    QList<TrackRipState> tracks;
    ReleaseMetadata metadata;
};
struct Finished {
    QList<TrackRipState> tracks;
    ReleaseMetadata metadata;
};
struct LookingUp {};
} // namespace RipStates

using RipState = std::variant<RipStates::LookupFailed, RipStates::Ready, RipStates::Ripping, RipStates::Finished,
                              RipStates::LookingUp>;

// The whole life of a disc in the application: identify it online, choose a release, see what
// the library holds, rip, enter the tracks, bring in a cover that arrives late, and retry what
// failed. One instance for the window's life, so that a rip goes on while another screen is
// shown. Its state changes only on the main thread; every change is announced.
class CDRipController : public QObject {
    Q_OBJECT

public:
    using StrategyMaker = std::function<std::unique_ptr<DiscRipStrategy>(RipStrategyKind)>;

    // The strategies that read drives and images, each drive shifted by its own read offset.
    static StrategyMaker readers();

    // Tests give a client on a fake clock and strategies with scripted sources.
    explicit CDRipController(MetadataHTTPClient& client = MetadataHTTPClient::shared(),
                             StrategyMaker strategies = readers(), QObject* parent = nullptr);
    ~CDRipController() override;

    const RipState& state() const { return m_state; }
    const std::optional<QByteArray>& artworkData() const { return m_artworkData; }
    // Set when a rip has brought every track in; whoever ejects the disc clears it.
    const std::optional<QString>& pendingEjectBSDName() const { return m_pendingEjectBSDName; }
    void clearPendingEject();
    const std::optional<QString>& trackedBSDName() const { return m_trackedBSDName; }
    qint64 artworkFetchGeneration() const { return m_artworkFetchGeneration; }
    // While a cover is looked for; a superseded search still counts until its answer comes.
    bool isFetchingArtwork() const { return m_artworkFetchesRunning > 0; }
    const std::optional<DiscTOC>& cachedTOC() const { return m_cachedTOC; }
    const QList<ReleaseMetadata>& cachedReleases() const { return m_cachedReleases; }
    const std::optional<ReleaseMetadata>& cachedRelease() const { return m_cachedRelease; }
    const std::optional<ArtworkFetcher::ArtworkResult>& cachedArtwork() const { return m_cachedArtwork; }

    // While ripping, the mean fraction over the disc's tracks (done counts 1, failed and
    // waiting 0); otherwise none.
    std::optional<double> overallProgress() const;

    // The screen's entry: the same disc still in keeps whatever was shown, a running rip too.
    QCoro::Task<> start(QString bsdName, Library& library);
    // Also "Try Again".
    QCoro::Task<> lookUp(QString bsdName, Library& library);
    void selectRelease(qsizetype index, Library& library);
    QCoro::Task<> startRip(QString bsdName, Library& library, std::optional<QList<qint64>> trackIndices,
                           bool overwriteExisting);
    QCoro::Task<> retryFailedTracks(QString bsdName, Library& library);
    // After a failed lookup of a disc that could be read: `ready`, unnamed, with the names the
    // user gave this disc before, else those of its CD-Text or sheet (UnknownDisc::release).
    QCoro::Task<> ripWithoutMetadata(QString bsdName, Library& library);
    // The user's names for the unnamed disc in `ready`; kept for its disc ID until it is ripped.
    void nameDisc(const ReleaseMetadata& release);
    void reset();

    // The release to preselect: one the library knows by its id, then by its release group,
    // then the first "Official" one, else the first.
    static qsizetype chooseRelease(const QList<ReleaseMetadata>& releases, const QList<Track>& libraryTracks);
    // The same without the last resort: none when no rule picks a release.
    static std::optional<qsizetype> preferredRelease(const QList<ReleaseMetadata>& releases,
                                                     const QList<Track>& libraryTracks);
    static ExistingRipInfo existingInfo(qint64 trackCount, const ReleaseMetadata& release, const Library& library);

signals:
    void stateChanged();
    void artworkDataChanged();
    void pendingEjectBSDNameChanged();
    // The unnamed disc's names changed; the state is otherwise as it was.
    void discNamed();

private:
    void setState(RipState state);
    // A rip whose every track is in asks for the disc to be ejected.
    void askEjectWhenAllDone(const QString& bsdName);
    void setArtwork(const std::optional<ArtworkFetcher::ArtworkResult>& artwork);
    void fetchArtworkFor(const ReleaseMetadata& release, Library& library);
    QCoro::Task<> fetchArtwork(ReleaseMetadata release, Library* library, qint64 generation);
    QCoro::Task<> applyLateArtwork(Library& library);
    // Runs the importer over `indices` (all tracks when none) and enters what arrived; then,
    // with `askEject`, asks for the disc when every track is in, and measures the loudness of
    // what arrived when the settings say so, without holding the disc for it.
    QCoro::Task<> rip(QString bsdName, Library& library, std::optional<QList<qint64>> indices, bool overwriteExisting,
                      bool askEject);
    RipStates::Ripping* ripping();

    MetadataHTTPClient& m_client;
    StrategyMaker m_makeStrategy;
    RipState m_state = RipStates::LookingUp{};
    std::optional<QByteArray> m_artworkData;
    std::optional<QString> m_pendingEjectBSDName;
    std::optional<QString> m_trackedBSDName;
    qint64 m_artworkFetchGeneration = 0;
    qint64 m_artworkFetchesRunning = 0;
    std::optional<DiscTOC> m_cachedTOC;
    QList<ReleaseMetadata> m_cachedReleases;
    std::optional<ReleaseMetadata> m_cachedRelease;
    std::optional<ArtworkFetcher::ArtworkResult> m_cachedArtwork;
    // Raised by each lookup and reset, so that an answer for an older one is dropped.
    qint64 m_lookupGeneration = 0;
    // What the user named unnamed discs, by disc ID, until each is ripped.
    QHash<QString, ReleaseMetadata> m_namedDiscs;
};
