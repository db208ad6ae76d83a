#include "OnboardingView.h"

#include "library/LibraryFolder.h"
#include "widgets/Icons.h"

#include <QComboBox>
#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

OnboardingView::OnboardingView(FolderPicker folderPicker, QWidget* parent)
    : QWidget(parent)
    , m_folderPicker(std::move(folderPicker))
    , m_libraryPath(new QLineEdit(defaultLibraryPath(), this))
    , m_fileHandling(new QComboBox(this))
    , m_browse(new QPushButton(u"Browse…"_s, this))
    , m_getStarted(new QPushButton(u"Get Started"_s, this))
    , m_problem(new QLabel(this))
{
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::symbol(u"house"_s).pixmap(64, 64));
    icon->setAlignment(Qt::AlignCenter);

    auto* title = new QLabel(u"Welcome to Sonorelle"_s, this);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.8);
    titleFont.setBold(true);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignCenter);

    auto* text = new QLabel(u"Choose where to keep your music library.\nSonorelle will manage files in this folder."_s, this);
    text->setAlignment(Qt::AlignCenter);

    m_libraryPath->setObjectName(u"libraryPath"_s);
    m_libraryPath->setMinimumWidth(360);
    auto* pathRow = new QHBoxLayout;
    pathRow->addWidget(m_libraryPath, 1);
    pathRow->addWidget(m_browse);

    m_fileHandling->addItem(u"Move imported files"_s, false);
    m_fileHandling->addItem(u"Copy imported files"_s, true);

    auto* form = new QFormLayout;
    form->addRow(u"Library folder"_s, pathRow);
    form->addRow(u"File handling"_s, m_fileHandling);

    m_getStarted->setDefault(true);

    auto* column = new QVBoxLayout;
    column->addStretch();
    column->addWidget(icon);
    column->addWidget(title);
    column->addWidget(text);
    column->addSpacing(16);
    column->addLayout(form);
    column->addSpacing(16);
    column->addWidget(m_getStarted, 0, Qt::AlignCenter);
    column->addStretch();

    auto* outer = new QHBoxLayout(this);
    outer->addStretch();
    outer->addLayout(column);
    outer->addStretch();

    m_problem->setObjectName(u"problem"_s);
    m_problem->setVisible(false);
    m_problem->setWordWrap(true);
    m_problem->setStyleSheet(u"color: #c0392b;"_s);
    column->insertWidget(column->count() - 2, m_problem, 0, Qt::AlignCenter);

    connect(m_browse, &QPushButton::clicked, this, &OnboardingView::browse);
    connect(m_libraryPath, &QLineEdit::textChanged, this, [this] {
        m_problem->setVisible(false);
        m_getStarted->setEnabled(!libraryPath().isEmpty());
    });
    connect(m_getStarted, &QPushButton::clicked, this, [this] {
        if (!QDir::isAbsolutePath(libraryPath())) {
            m_problem->setText(u"Enter the full path of a folder, such as "_s + defaultLibraryPath() + u"."_s);
            m_problem->setVisible(true);
            return;
        }
        LibraryFolder::Choice choice;
        try {
            choice = LibraryFolder::check(libraryPath());
        } catch (const LibraryFolder::FolderError& error) {
            m_problem->setText(error.message());
            m_problem->setVisible(true);
            return;
        }
        emit completed(QUrl::fromLocalFile(choice.path), copyFiles());
    });
}

QString OnboardingView::defaultLibraryPath()
{
    return QDir::homePath() + u"/Music/Sonorelle"_s;
}

QString OnboardingView::libraryPath() const
{
    const QString typed = m_libraryPath->text().trimmed();
    if (typed == u"~" || typed.startsWith(u"~/"))
        return QDir::homePath() + typed.mid(1);
    return typed;
}

bool OnboardingView::copyFiles() const
{
    return m_fileHandling->currentData().toBool();
}

void OnboardingView::browse()
{
    const FolderPickerRequest request{
        .message = u"Choose a folder for your Sonorelle library"_s,
        .prompt = u"Choose"_s,
        .startFolder = libraryPath(),
        .canCreateFolders = true,
    };
    if (const auto chosen = m_folderPicker(this, request))
        m_libraryPath->setText(*chosen);
}
