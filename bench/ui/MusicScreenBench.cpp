#include "UiBenchSupport.h"

#include "facade/Library.h"
#include "music/AlbumsView.h"
#include "music/MusicView.h"
#include "music/SongsTableModel.h"
#include "music/SongsView.h"

#include <QApplication>
#include <QListView>
#include <QTableView>

#include <benchmark/benchmark.h>

namespace {

constexpr qsizetype libraryTracks = 100'000;

// Shows the widget and lets it lay out and paint once.
void paint(QWidget& widget)
{
    widget.show();
    QApplication::processEvents();
    widget.grab();
}

// The window opens on the album grid; this is the switch to the songs table, sorted by
// title and painted.
void showSongsTable(benchmark::State& state)
{
    UiBenchStores stores(libraryTracks);
    Library library(QUrl::fromLocalFile(stores.root()));
    for (auto _ : state) {
        state.PauseTiming();
        auto view = std::make_unique<MusicView>(library);
        view->resize(1000, 700);
        paint(*view);
        state.ResumeTiming();
        view->setViewMode(MusicViewMode::songs);
        view->songsView()->table()->viewport()->grab();
        state.PauseTiming();
        view.reset();
        state.ResumeTiming();
    }
    state.counters["peakRssMiB"] = measureUiPeakMemoryMiB(stores.libraryJson());
}

// The songs table of a library of 100,000 tracks, on screen.
struct SongsScreen {
    SongsScreen()
    {
        view.resize(1000, 700);
        view.setViewMode(MusicViewMode::songs);
        paint(view);
    }

    UiBenchStores stores{libraryTracks};
    Library library{QUrl::fromLocalFile(stores.root())};
    MusicView view{library};
};

// One more letter in the search field, with the table repainted.
void refilterOnKeystroke(benchmark::State& state)
{
    SongsScreen screen;
    bool longer = true;
    for (auto _ : state) {
        screen.view.setSearchText(longer ? QStringLiteral("gh") : QStringLiteral("g"));
        screen.view.songsView()->table()->viewport()->grab();
        longer = !longer;
    }
}

void resortByArtist(benchmark::State& state)
{
    SongsScreen screen;
    QTableView* table = screen.view.songsView()->table();
    bool byArtist = true;
    for (auto _ : state) {
        table->sortByColumn(byArtist ? SongsTableModel::artist : SongsTableModel::title, Qt::AscendingOrder);
        table->viewport()->grab();
        byArtist = !byArtist;
    }
}

// From a loaded library to the album grid on screen, as the window opens: indexing the text,
// grouping 100,000 tracks and drawing the visible tiles.
void albumsFirstPaint(benchmark::State& state)
{
    UiBenchStores stores(libraryTracks);
    Library library(QUrl::fromLocalFile(stores.root()));
    for (auto _ : state) {
        MusicView view(library);
        view.resize(1000, 700);
        paint(view);
        benchmark::DoNotOptimize(view.albumsView()->groups().size());
    }
}

} // namespace

BENCHMARK(showSongsTable)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(refilterOnKeystroke)->Unit(benchmark::kMillisecond)->Iterations(6);
BENCHMARK(resortByArtist)->Unit(benchmark::kMillisecond)->Iterations(6);
BENCHMARK(albumsFirstPaint)->Unit(benchmark::kMillisecond)->Iterations(3);
