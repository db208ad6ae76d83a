#include "StoreWriter.h"

#include "StoreFile.h"

#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

using namespace Qt::StringLiterals;

StoreWriter::StoreWriter(QString path, Snapshot snapshot, QObject* parent)
    : QObject(parent)
    , m_path(std::move(path))
    , m_snapshot(std::move(snapshot))
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &StoreWriter::startWrite);
    connect(&m_writeWatcher, &QFutureWatcher<std::optional<QString>>::finished, this, [this] {
        // flush() may have collected the result already.
        if (m_write.isValid())
            finishWrite(m_write.result());
    });
}

StoreWriter::~StoreWriter()
{
    flush();
}

void StoreWriter::markChanged()
{
    if (!m_unsaved) {
        m_unsaved = true;
        m_unsavedSince.start();
    }
    if (!m_timer.isActive() && !m_write.isValid())
        m_timer.start(coalescingDelay);
}

void StoreWriter::startWrite()
{
    m_unsaved = false;
    m_write = QtConcurrent::run([path = m_path, encode = m_snapshot()] {
        return StoreFile::writeAtomically(path, encode());
    });
    m_writeWatcher.setFuture(m_write);
}

void StoreWriter::report(const std::optional<QString>& error)
{
    m_failure = error ? std::optional(u"“%1” could not be saved: %2."_s.arg(m_path, *error)) : std::nullopt;
    emit written(m_failure);
}

void StoreWriter::finishWrite(const std::optional<QString>& error)
{
    m_write = {};
    report(error);
    // Changes made while the write ran go out 250 ms after the first of them.
    if (m_unsaved && !m_timer.isActive()) {
        const auto waited = std::chrono::milliseconds(m_unsavedSince.elapsed());
        m_timer.start(std::max(std::chrono::milliseconds(0), coalescingDelay - waited));
    }
}

void StoreWriter::flush()
{
    if (m_write.isValid()) {
        m_write.waitForFinished();
        m_writeWatcher.setFuture(QFuture<std::optional<QString>>());
        finishWrite(m_write.result());
    }
    m_timer.stop();
    if (m_unsaved) {
        m_unsaved = false;
        report(StoreFile::writeAtomically(m_path, m_snapshot()()));
    }
}
