#include "RowWidgets.h"

#include <QWidget>

namespace RowWidgets {

void keepOutOfTabChain(QWidget* row)
{
    row->setFocusPolicy(Qt::NoFocus);
    for (QWidget* child : row->findChildren<QWidget*>())
        child->setFocusPolicy(Qt::NoFocus);
}

} // namespace RowWidgets
