#include "catalogue/DuplicateVerificationStatus.h"

QString DuplicateVerificationStatus::key() const
{
    switch (m_state) {
    case State::unverified: return QStringLiteral("unverified");
    case State::verified: return QStringLiteral("verified");
    case State::unableToVerify: return QStringLiteral("unableToVerify");
    }
    return {};
}
