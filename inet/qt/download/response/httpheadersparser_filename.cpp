// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/httpheadersparser.h>

#include <inet/qt/download/response/regexpmatches.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <QTextCodec>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kDefaultName = "index"_L1;
constexpr auto kDefaultExtension = "html"_L1;

bool isIllegalInFileName(QChar c)
{
    return u"/?<>\\:*|\"\n"_s.contains(c);
}

QString withoutIllegalCharacters(QString name)
{
    return name.removeIf(isIllegalInFileName);
}

QString afterLastSlash(const QString &path)
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

QString localFileName(const QUrl &url)
{
    return url.isValid() && url.isLocalFile() ? afterLastSlash(url.path(QUrl::FullyDecoded)) : QString();
}

QString nameFromUrl(const QUrl &url)
{
    return url.isEmpty() ? QString() : withoutIllegalCharacters(afterLastSlash(url.path(QUrl::FullyDecoded)));
}

/// Servers send names in UTF-8 or, older ones, in Latin-1; nothing in the header tells which.
QString textFromHeader(const QByteArray &value)
{
    QTextCodec::ConverterState state;
    const QString text =
        QTextCodec::codecForName("UTF-8")->toUnicode(value.constData(), static_cast<int>(value.size()), &state);
    // A character cut off at the end is reported as remaining, not as invalid.
    const bool isUtf8 = state.invalidChars == 0 && state.remainingChars == 0;
    return isUtf8 ? text : QString::fromLatin1(value);
}

QString decodedFromLatin1(const QString &captured)
{
    return QUrl::fromPercentEncoding(captured.toLatin1());
}

QString decodedFromUtf8(const QString &captured)
{
    return QUrl::fromPercentEncoding(captured.toUtf8());
}

QString decodedFromEncodedWords(const QString &captured)
{
    QString name;
    const auto words = regExpMatches(uR"(=\?utf-8\?b\?([^;\s]*)\?=)"_s, captured, 1);
    for (const QString &word : words)
        name += QString::fromUtf8(QByteArray::fromBase64(word.toLatin1()));
    return name;
}

/// One way in which servers write a file name into Content-Disposition.
struct NameForm {
    QRegularExpression pattern;
    QString (*decoded)(const QString &captured);
};

/// Tried in order until one yields a name.
const std::array<NameForm, 4> &nameForms()
{
    using Re = QRegularExpression;
    static const std::array<NameForm, 4> forms = {{
        {Re(uR"(.*filename\*=\s*UTF-8''([^;\s]*))"_s, Re::CaseInsensitiveOption), decodedFromLatin1},
        {Re(uR"re(.*filename=\s*"(=\?utf-8\?b\?[^;]*\?=)")re"_s, Re::CaseInsensitiveOption), decodedFromEncodedWords},
        {Re(uR"re(.*filename=\s*"(.*)")re"_s, Re::CaseInsensitiveOption | Re::InvertedGreedinessOption),
         decodedFromUtf8},
        {Re(uR"(.*filename=\s*([^"][^;]*))"_s, Re::CaseInsensitiveOption), decodedFromUtf8},
    }};
    return forms;
}

/// Whether some "." is followed by a non-empty rest without white space.
bool hasExtension(const QString &name)
{
    const auto lastSpace = std::find_if(name.crbegin(), name.crend(), [](QChar c) { return c.isSpace(); });
    const auto dot = name.indexOf(u'.', std::distance(lastSpace, name.crend()));
    return dot != -1 && dot + 1 < name.size();
}

bool endsWithOneOf(const QString &name, const QList<QString> &extensions)
{
    return std::any_of(extensions.cbegin(), extensions.cend(), [&name](const QString &extension) {
        return !extension.isEmpty() && name.endsWith(u'.' + extension);
    });
}

QString withExtension(const QString &name, const QList<QString> &candidates)
{
    if (endsWithOneOf(name, candidates))
        return name;

    const auto usable = std::find_if(candidates.cbegin(), candidates.cend(),
                                     [](const QString &extension) { return !extension.isEmpty(); });
    return usable == candidates.cend() ? name : name + u'.' + *usable;
}

} // namespace

QString HttpHeadersParser::fileName(const QUrl &url) const
{
    const QString localName = localFileName(url);
    if (!localName.isEmpty())
        return withoutIllegalCharacters(localName);

    const QString headerName = nameFromContentDisposition();
    if (!headerName.isEmpty())
        return withoutIllegalCharacters(headerName);

    QString name = nameFromUrl(url);
    if (hasExtension(name))
        return name;
    if (name.isEmpty())
        name = kDefaultName;
    return withExtension(name, candidateExtensions(name));
}

QList<QString> HttpHeadersParser::additionalExtensions(const QMimeType &type) const
{
    if (type.name() == "application/x-tar"_L1)
        return {u"tgz"_s};
    if (type.name() == "application/x-compress"_L1)
        return {u"pkg"_s};
    return {};
}

QString HttpHeadersParser::nameFromContentDisposition() const
{
    const QString text = textFromHeader(headerValueByName(ContentDispositionHeader));
    if (text.isEmpty())
        return {};

    for (const auto &form : nameForms()) {
        const auto match = form.pattern.match(text);
        const QString name = match.hasMatch() ? form.decoded(match.captured(1)) : QString();
        if (!name.isEmpty())
            return name;
    }
    return {};
}

QList<QString> HttpHeadersParser::candidateExtensions(const QString &name) const
{
    if (hasContentTypeHeader())
        return extensionsOfMime(mimeFromContentType(contentTypeHeader()), name);
    if (QFileInfo(name).completeSuffix().isEmpty())
        return {kDefaultExtension};
    return {};
}

QList<QString> HttpHeadersParser::extensionsOfMime(const QString &mimeName, const QString &name) const
{
    // Servers say text/plain of whatever they do not know, so it tells nothing of the file.
    if (mimeName.compare("text/plain"_L1, Qt::CaseInsensitive) == 0)
        return {};

    const QMimeType type = m_mimeDatabase.mimeTypeForName(mimeName);
    if (!type.isValid())
        return mimeName.startsWith("text/"_L1, Qt::CaseInsensitive) ? QList<QString>{kDefaultExtension}
                                                                    : QList<QString>();

    const QMimeType implied = m_mimeDatabase.mimeTypeForFile(name, QMimeDatabase::MatchExtension);
    if (implied == type || implied.inherits(mimeName))
        return {};
    return QList<QString>{type.preferredSuffix()} + type.suffixes() + additionalExtensions(type);
}
