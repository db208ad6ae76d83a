#include "PreferencesView.h"

#include "preferences/FormatsPrefsView.h"
#include "preferences/GeneralPrefsView.h"
#include "preferences/SyncPrefsView.h"
#include "widgets/Icons.h"

#include <QTabWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

PreferencesView::PreferencesView(std::function<void()> checkForUpdates, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_tabs(new QTabWidget(this))
{
    setWindowTitle(u"Preferences"_s);
    setObjectName(u"preferences"_s);
    m_tabs->addTab(new GeneralPrefsView(std::move(checkForUpdates), m_tabs), Icons::symbol(u"gearshape"_s), u"General"_s);
    m_tabs->addTab(new FormatsPrefsView(m_tabs), Icons::symbol(u"waveform"_s), u"Formats"_s);
    m_tabs->addTab(new SyncPrefsView(m_tabs), Icons::symbol(u"arrow.triangle.2.circlepath"_s), u"Sync"_s);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs);
    resize(520, 380);
}
