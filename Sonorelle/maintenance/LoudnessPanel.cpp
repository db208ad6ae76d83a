#include "LoudnessPanel.h"

#include "facade/Library.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

LoudnessPanel::LoudnessPanel(Library& library, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_force(new QCheckBox(u"Analyse tracks that already have ReplayGain tags"_s, this))
    , m_analyse(new QPushButton(u"Analyse Loudness…"_s, this))
    , m_cancel(new QPushButton(u"Cancel"_s, this))
    , m_progress(new QProgressBar(this))
    , m_status(new QLabel(this))
{
    auto* row = new QHBoxLayout;
    row->addWidget(m_analyse);
    row->addWidget(m_cancel);
    row->addWidget(m_force);
    row->addStretch();
    m_status->setWordWrap(true);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(row);
    layout->addWidget(m_progress);
    layout->addWidget(m_status);

    connect(m_analyse, &QPushButton::clicked, this, [this] { analyse(); });
    connect(m_cancel, &QPushButton::clicked, this, &LoudnessPanel::cancel);
    setRunning(false);
    m_status->setVisible(false);
}

QString LoudnessPanel::status() const
{
    return m_status->text();
}

void LoudnessPanel::setRunning(bool running)
{
    m_analyse->setEnabled(!running);
    m_force->setEnabled(!running);
    m_cancel->setVisible(running);
    m_progress->setVisible(running);
}

void LoudnessPanel::cancel()
{
    if (m_cancelled)
        m_cancelled->store(true);
}

QCoro::Task<> LoudnessPanel::analyse()
{
    if (isRunning() || m_library.tracks().isEmpty())
        co_return;
    QPointer<LoudnessPanel> self(this);
    Library::LoudnessOptions options;
    options.force = m_force->isChecked();
    options.cancel = std::make_shared<std::atomic_bool>(false);
    m_cancelled = options.cancel;
    const Library::LoudnessProgressHandler onProgress = [self](const Library::LoudnessProgress& step) {
        if (!self)
            return;
        self->m_progress->setRange(0, int(step.trackCount));
        self->m_progress->setValue(int(step.tracksDone));
    };
    m_progress->setRange(0, int(m_library.tracks().size()));
    m_progress->setValue(0);
    m_progress->setFormat(u"%v of %m tracks"_s);
    setRunning(true);
    m_status->setVisible(false);
    const Library::LoudnessSummary summary = co_await m_library.analyseLoudness(m_library.tracks(), options, onProgress);
    if (!self)
        co_return;
    m_cancelled.reset();
    setRunning(false);
    QStringList lines{summary.message()};
    for (const auto& [track, reason] : summary.failed)
        lines.append(reason);
    m_status->setText(lines.join(u'\n'));
    m_status->setVisible(true);
}
