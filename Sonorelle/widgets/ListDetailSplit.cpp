#include "ListDetailSplit.h"

#include <QHBoxLayout>
#include <QSplitter>

void placeListAndDetail(QWidget* owner, QWidget* list, QWidget* detail, int listWidth)
{
    auto* splitter = new QSplitter(Qt::Horizontal, owner);
    splitter->addWidget(list);
    splitter->addWidget(detail);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({listWidth, 700 - listWidth});
    splitter->setChildrenCollapsible(false);
    auto* layout = new QHBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);
}
