#pragma once

#include <QList>
#include <QUuid>

#include <algorithm>

// The first record of a library list with that id, or none: a playlist, a smart playlist.
template <typename T>
const T* findByID(const QList<T>& list, const QUuid& id)
{
    const auto it = std::find_if(list.cbegin(), list.cend(), [&id](const T& item) { return item.id == id; });
    return it == list.cend() ? nullptr : &*it;
}
