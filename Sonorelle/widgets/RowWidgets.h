#pragma once

class QWidget;

// Buttons drawn inside the rows of a list. Tab leaves the list instead of visiting every
// row's buttons, and a click on one leaves the focus on the list; the list offers the same
// actions by key or in its context menu.
namespace RowWidgets {

void keepOutOfTabChain(QWidget* row);

} // namespace RowWidgets
