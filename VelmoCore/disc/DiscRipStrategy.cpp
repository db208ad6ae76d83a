#include "DiscRipStrategy.h"

#include "DirectRipStrategy.h"
#include "ParanoiaRipStrategy.h"

using namespace Qt::StringLiterals;

std::unique_ptr<DiscRipStrategy> makeStrategy(RipStrategyKind kind)
{
    switch (kind) {
    case RipStrategyKind::paranoia:
        return std::make_unique<ParanoiaRipStrategy>();
    case RipStrategyKind::direct:
        break;
    }
    return std::make_unique<DirectRipStrategy>();
}

QString displayName(RipStrategyKind kind)
{
    switch (kind) {
    case RipStrategyKind::paranoia:
        return u"Paranoia (error-correcting)"_s;
    case RipStrategyKind::direct:
        break;
    }
    return u"Direct (raw sector reads)"_s;
}
