// SPDX-License-Identifier: MIT
#include <host/policy/evidence.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kSeveral = 2;

Evidence::Doubt doubtAbout(const Evidence &first, const Evidence::Answer &next)
{
    const QByteArray &etag = next.identity.etag;
    if (first.address != next.address)
        return Evidence::Doubt::SeveralAddresses;
    if (!etag.isEmpty() && etag == first.etag)
        return Evidence::Doubt::None;
    if (!etag.isEmpty() || !first.etag.isEmpty())
        return Evidence::Doubt::ValidatorVanished;
    return next.identity.hasValidator() ? Evidence::Doubt::WeakValidator : Evidence::Doubt::NothingIdentifies;
}

}

Evidence Evidence::ofOldBytes()
{
    Evidence evidence;
    evidence.answers = kSeveral;
    evidence.doubt = Doubt::Unknown;
    return evidence;
}

void Evidence::add(const Answer &answer)
{
    if (answers == 0) {
        address = answer.address;
        etag = answer.identity.etag;
    } else if (doubt == Doubt::None) {
        doubt = doubtAbout(*this, answer);
    }
    isEndKnown = answer.isEndKnown || answer.identity.total >= 0 || (answers > 0 && isEndKnown);
    answers = std::min(answers + 1, kSeveral);
    digest = ChecksumResult::NotCompared;
}

Assurance Evidence::assurance(bool isVerified) const
{
    if (isVerified)
        return Assurance::Verified;
    return reason() == Doubt::None ? Assurance::Consistent : Assurance::Unproven;
}

Evidence::Doubt Evidence::reason() const
{
    if (doubt != Doubt::None)
        return doubt;
    return isEndKnown ? Doubt::None : Doubt::NoLength;
}

QString keyOf(Assurance assurance)
{
    switch (assurance) {
    case Assurance::Verified:
        return u"verified"_s;
    case Assurance::Consistent:
        return u"consistent"_s;
    case Assurance::Unproven:
        break;
    }
    return u"unproven"_s;
}
