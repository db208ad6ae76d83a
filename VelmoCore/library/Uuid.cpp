#include "Uuid.h"

namespace Uuid {

QString text(const QUuid& uuid)
{
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace Uuid
