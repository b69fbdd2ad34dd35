// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/targetfilename.h>

#include <inet/qt/download/framework/abstractdownloadfileops.h>

#include <QStringView>

using namespace Qt::StringLiterals;

namespace
{

/// Longer ones are no extensions but a dot in the midst of a name.
constexpr qsizetype kMaxExtensionBytes = 32;

constexpr char16_t kNameless[] = u"download";

/// Marks that turn the direction of text, so that "exe.gpj" is read backwards.
bool isDirectionMark(char16_t c)
{
    return c == 0x061c || c == 0x200e || c == 0x200f || (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
}

bool isForbidden(QChar c)
{
    switch (c.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return c == u'/' || c.unicode() == 0xfeff || c.isNonCharacter() || isDirectionMark(c.unicode());
    }
}

QString withoutForbidden(const QString &name)
{
    QString clean;
    clean.reserve(name.size());
    for (qsizetype i = 0; i < name.size(); ++i) {
        const QChar c = name.at(i);
        if (c.isHighSurrogate() && i + 1 < name.size() && name.at(i + 1).isLowSurrogate())
            clean += QStringView(name).mid(i++, 2);
        else if (c.isSurrogate())
            clean += u'_';
        else if (!isForbidden(c))
            clean += c;
    }
    return clean;
}

bool isEdge(QChar c)
{
    return c.isSpace() || c == u'.';
}

/// Leading dots would hide the file; trailing dots and spaces vanish on some file systems.
QStringView withoutEdges(QStringView name)
{
    while (!name.isEmpty() && isEdge(name.front()))
        name = name.sliced(1);
    while (!name.isEmpty() && isEdge(name.back()))
        name.chop(1);
    return name;
}

/// Names that are devices elsewhere, with any extension: a folder may lie on a disk that others mount.
bool isReserved(const QString &name)
{
    const QString stem = name.section(u'.', 0, 0).trimmed().toUpper();
    if (stem == "CON"_L1 || stem == "PRN"_L1 || stem == "AUX"_L1 || stem == "NUL"_L1)
        return true;
    return stem.size() == 4 && (stem.startsWith("COM"_L1) || stem.startsWith("LPT"_L1)) && stem.at(3) >= u'0'
        && stem.at(3) <= u'9';
}

/// Where the extension begins, its dot included; the name's length when there is none.
qsizetype extensionStart(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    const QStringView extension = dot > 0 ? QStringView(name).mid(dot) : QStringView();
    if (extension.size() < 2 || extension.contains(u' ') || extension.toUtf8().size() > kMaxExtensionBytes)
        return name.size();
    const QStringView stem = QStringView(name).left(dot);
    return stem.size() > 4 && stem.endsWith(".tar"_L1, Qt::CaseInsensitive) ? dot - 4 : dot;
}

/// As much of the text as fits, whole characters only.
QString fitting(const QString &text, qsizetype bytes)
{
    // No character needs fewer bytes than units, so that names of any length are cut to size at once.
    QStringView rest = QStringView(text).left(qMax<qsizetype>(bytes, 0));
    if (rest.size() < text.size() && !rest.isEmpty() && rest.back().isHighSurrogate())
        rest.chop(1);
    while (!rest.isEmpty() && rest.toUtf8().size() > bytes)
        rest.chop(rest.size() > 1 && rest.back().isLowSurrogate() ? 2 : 1);
    while (!rest.isEmpty() && isEdge(rest.back()))
        rest.chop(1);
    return rest.toString();
}

/// Stem, what is put behind it, and extension, within the limit.
QString composed(const QString &name, const QString &behindStem)
{
    if (behindStem.isEmpty() && name.toUtf8().size() <= TargetFileName::kMaxBytes)
        return name;
    const qsizetype dot = extensionStart(name);
    const QString tail = behindStem + name.mid(dot);
    return fitting(name.left(dot), TargetFileName::kMaxBytes - tail.toUtf8().size()) + tail;
}

}

QString TargetFileName::safe(const QString &name)
{
    const QString clean = withoutForbidden(name);
    QString trimmed = withoutEdges(clean).toString();
    if (trimmed.isEmpty())
        trimmed = QString::fromUtf16(kNameless);
    if (isReserved(trimmed))
        trimmed.prepend(u'_');
    return composed(trimmed, {});
}

QString TargetFileName::fromPath(const QString &path, bool isChosen)
{
    const QString name = path.section(u'/', -1, -1, QString::SectionSkipEmpty);
    const bool canStand = !name.isEmpty() && name != "."_L1 && name != ".."_L1 && !name.contains(QChar::Null);
    return isChosen && canStand ? composed(name, {}) : safe(name);
}

QString TargetFileName::numbered(const QString &name, int number)
{
    return composed(name, " ("_L1 + QString::number(number) + ')'_L1);
}

QString TargetFileName::partOf(const QString &finalName)
{
    return finalName + QString::fromUtf16(AbstractDownloadFileOps::kPartSuffix);
}

bool TargetFileName::isPart(const QString &name)
{
    const QStringView suffix(AbstractDownloadFileOps::kPartSuffix);
    return name.size() > suffix.size() && name.endsWith(suffix);
}

QString TargetFileName::finalOf(const QString &partName)
{
    return isPart(partName) ? partName.chopped(QStringView(AbstractDownloadFileOps::kPartSuffix).size()) : partName;
}
