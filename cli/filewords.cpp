// SPDX-License-Identifier: MIT
#include <cli/filewords.h>

#include <host/policy/contentencoding.h>

using namespace Qt::StringLiterals;

QString FileWords::ofDoubt(Evidence::Doubt doubt)
{
    switch (doubt) {
    case Evidence::Doubt::None:
        return {};
    case Evidence::Doubt::WeakValidator:
        return u"its parts have only a weak validator in common"_s;
    case Evidence::Doubt::ValidatorVanished:
        return u"only some of its parts came with a validator"_s;
    case Evidence::Doubt::NothingIdentifies:
        return u"the server names nothing that identifies the file"_s;
    case Evidence::Doubt::SeveralAddresses:
        return u"its parts came from several addresses"_s;
    case Evidence::Doubt::NoLength:
        return u"the server did not say how long the file is"_s;
    case Evidence::Doubt::Unknown:
        return u"nobody kept what its first parts came with"_s;
    case Evidence::Doubt::FinishedEarly:
        return u"it was finished with what was there"_s;
    }
    return {};
}

QString FileWords::ofAssurance(const FileAssurance &assurance)
{
    return assurance.assurance == Assurance::Unproven ? u"%1: %2"_s.arg(assurance.key(), ofDoubt(assurance.doubt))
                                                      : QString();
}

QString FileWords::ofEncoding(const QString &encoding)
{
    return encoding.isEmpty()
        ? QString()
        : u"the server sent it %1, and it was saved as sent"_s.arg(ContentEncoding::shown(encoding));
}
