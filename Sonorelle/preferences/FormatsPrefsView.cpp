#include "FormatsPrefsView.h"

#include "disc/ReadOffset.h"
#include "library/Settings.h"
#include "platform/UdevDiscEvents.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

FormatsPrefsView::FormatsPrefsView(QWidget* parent)
    : QWidget(parent)
    , m_outputFormat(new QComboBox(this))
    , m_bitrate(new QComboBox(this))
{
    auto* layout = new QVBoxLayout(this);
    auto* devices = new QGroupBox(u"Device Profiles"_s, this);
    auto* form = new QFormLayout(devices);

    m_outputFormat->setObjectName(u"outputFormat"_s);
    m_outputFormat->addItem(u"Keep Original"_s, rawValue(OutputFormat::keepSource));
    m_outputFormat->addItem(u"MP3"_s, rawValue(OutputFormat::mp3));
    m_outputFormat->addItem(u"AAC"_s, rawValue(OutputFormat::aac));
    m_outputFormat->setCurrentIndex(m_outputFormat->findData(rawValue(Settings::value(Settings::defaultOutputFormat))));
    form->addRow(u"Output format"_s, m_outputFormat);

    m_bitrate->setObjectName(u"bitrate"_s);
    for (const qint64 kbps : bitrateOptions)
        m_bitrate->addItem(u"%1 kbps"_s.arg(kbps), kbps);
    // A stored rate outside the options still shows as what it is.
    const qint64 stored = Settings::value(Settings::defaultBitrate);
    if (m_bitrate->findData(stored) < 0)
        m_bitrate->addItem(u"%1 kbps"_s.arg(stored), stored);
    m_bitrate->setCurrentIndex(m_bitrate->findData(stored));
    form->addRow(u"Bitrate"_s, m_bitrate);
    form->addRow(new QLabel(u"These defaults apply when creating new device profiles."_s, devices));
    layout->addWidget(devices);

    const auto updateBitrate = [this] {
        m_bitrate->setEnabled(m_outputFormat->currentData().toString() != rawValue(OutputFormat::keepSource));
    };
    updateBitrate();
    connect(m_outputFormat, &QComboBox::currentIndexChanged, this, [this, updateBitrate] {
        Settings::setRawString(Settings::defaultOutputFormat.name, m_outputFormat->currentData().toString());
        updateBitrate();
    });
    connect(m_bitrate, &QComboBox::currentIndexChanged, this,
            [this] { Settings::setValue(Settings::defaultBitrate, m_bitrate->currentData().toLongLong()); });

    auto* ripping = new QGroupBox(u"CD Ripping"_s, this);
    auto* rippingForm = new QFormLayout(ripping);
    auto* readingMode = new QComboBox(ripping);
    readingMode->setObjectName(u"readingMode"_s);
    readingMode->addItem(u"Direct (raw sector reads)"_s, rawValue(RipStrategyKind::direct));
    readingMode->addItem(u"Paranoia (error-correcting)"_s, rawValue(RipStrategyKind::paranoia));
    readingMode->addItem(u"Secure (read twice)"_s, rawValue(RipStrategyKind::secure));
    readingMode->setCurrentIndex(readingMode->findData(rawValue(Settings::value(Settings::ripStrategy))));
    connect(readingMode, &QComboBox::currentIndexChanged, this, [readingMode] {
        Settings::setRawString(Settings::ripStrategy.name, readingMode->currentData().toString());
    });
    rippingForm->addRow(u"Reading mode"_s, readingMode);
    auto* explanation =
        new QLabel(u"Direct is faster and works on most drives. Paranoia reads each sector again until "
                   "the reads agree: slower, for scratched discs and drives that reject raw reads. Secure "
                   "reads every track twice and compares them, reading a track that differs again "
                   "with paranoia until two reads agree."_s,
                   ripping);
    explanation->setWordWrap(true);
    rippingForm->addRow(explanation);
    addReadOffsetRows(rippingForm);
    auto* keepLog = new QCheckBox(u"Keep a rip log and cue sheet"_s, ripping);
    keepLog->setObjectName(u"keepRipLog"_s);
    keepLog->setChecked(Settings::value(Settings::keepRipLog));
    connect(keepLog, &QCheckBox::toggled, this, [](bool on) { Settings::setValue(Settings::keepRipLog, on); });
    rippingForm->addRow(keepLog);
    auto* verifyCTDB = new QCheckBox(u"Verify with CTDB"_s, ripping);
    verifyCTDB->setObjectName(u"verifyWithCTDB"_s);
    verifyCTDB->setChecked(Settings::value(Settings::verifyWithCTDB));
    connect(verifyCTDB, &QCheckBox::toggled, this,
            [](bool on) { Settings::setValue(Settings::verifyWithCTDB, on); });
    rippingForm->addRow(verifyCTDB);
    auto* loudness = new QCheckBox(u"Analyse loudness after ripping"_s, ripping);
    loudness->setObjectName(u"analyseLoudnessAfterRipping"_s);
    loudness->setChecked(Settings::value(Settings::analyseLoudnessAfterRipping));
    connect(loudness, &QCheckBox::toggled, this,
            [](bool on) { Settings::setValue(Settings::analyseLoudnessAfterRipping, on); });
    rippingForm->addRow(loudness);
    layout->addWidget(ripping);
    layout->addStretch();
}

void FormatsPrefsView::addReadOffsetRows(QFormLayout* form)
{
    // The drives with a disc in them now, and those given an offset before.
    QStringList drives = Settings::drivesWithReadOffset();
    for (const QString& name : UdevDiscEvents::presentDiscs()) {
        const QString model = ReadOffset::driveOf(name);
        if (!model.isEmpty() && !drives.contains(model))
            drives.append(model);
    }
    auto* drive = new QComboBox(this);
    drive->setObjectName(u"offsetDrive"_s);
    drive->addItems(drives);
    auto* offset = new QSpinBox(this);
    offset->setObjectName(u"readOffset"_s);
    offset->setRange(-int(ReadOffset::searchedSamples), int(ReadOffset::searchedSamples));
    offset->setSuffix(u" samples"_s);
    const auto show = [drive, offset] {
        const QSignalBlocker quiet(offset);
        offset->setValue(drive->count() > 0 ? int(Settings::readOffset(drive->currentText())) : 0);
    };
    show();
    drive->setEnabled(drive->count() > 0);
    offset->setEnabled(drive->count() > 0);
    connect(drive, &QComboBox::currentIndexChanged, this, show);
    connect(offset, &QSpinBox::valueChanged, this,
            [drive](int samples) { Settings::setReadOffset(drive->currentText(), samples); });
    form->addRow(u"Drive"_s, drive);
    form->addRow(u"Read offset"_s, offset);
    auto* hint =
        new QLabel(u"Insert a disc that AccurateRip knows and run “velmo disc find-offset” to find it."_s, this);
    hint->setWordWrap(true);
    form->addRow(hint);
}
