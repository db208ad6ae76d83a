#pragma once

class QWidget;

// A screen of two panes: a list column of fixed preference on the left, the detail taking the
// rest, neither collapsible. Fills `owner` edge to edge.
void placeListAndDetail(QWidget* owner, QWidget* list, QWidget* detail, int listWidth);
