// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/fileinfoutils.h>

#include <QDateTime>
#include <QStringView>
#include <QSysInfo>

#include <compare>

using namespace Qt::StringLiterals;

using Record = AbstractDownloadPersistentInfo;
using Comparison = std::function<bool(const Record &, const Record &)>;

namespace
{

enum SortKey : qint32 {
    SortByCreationTime = 1,
    SortByTitle = 2,
    SortBySize = 3,
    SortByOwnOrder = 5,
};

/// Takes the run of decimal digits at the front of the text off it, without its leading zeros.
QStringView takeNumber(QStringView &text)
{
    qsizetype end = 0;
    while (end < text.size() && text.at(end).isDigit())
        ++end;
    qsizetype begin = 0;
    while (begin < end && text.at(begin).digitValue() == 0)
        ++begin;
    const QStringView number = text.sliced(begin, end - begin);
    text = text.sliced(end);
    return number;
}

std::strong_ordering compareNumbers(QStringView a, QStringView b)
{
    if (a.size() != b.size())
        return a.size() <=> b.size();
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (const auto order = a.at(i).digitValue() <=> b.at(i).digitValue(); order != 0)
            return order;
    }
    return std::strong_ordering::equal;
}

/// As a person would sort: file2 before File10.
bool precedesNaturally(QStringView a, QStringView b)
{
    while (!a.isEmpty() && !b.isEmpty()) {
        auto order = std::strong_ordering::equal;
        if (a.front().isDigit() && b.front().isDigit()) {
            const QStringView left = takeNumber(a);
            order = compareNumbers(left, takeNumber(b));
        } else {
            order = a.front().toLower().unicode() <=> b.front().toLower().unicode();
            a = a.sliced(1);
            b = b.sliced(1);
        }
        if (order != 0)
            return order < 0;
    }
    return a.isEmpty() && !b.isEmpty();
}

Comparison ascending(qint32 key)
{
    switch (key) {
    case SortByCreationTime:
        return [](const Record &a, const Record &b) { return a.creationTime < b.creationTime; };
    case SortByTitle:
        return [](const Record &a, const Record &b) { return precedesNaturally(a.downloadTitle(), b.downloadTitle()); };
    case SortBySize:
        return [](const Record &a, const Record &b) {
            return a.filesSize(true, true, true) < b.filesSize(true, true, true);
        };
    case SortByOwnOrder:
        return [](const Record &a, const Record &b) { return a.sortIndex < b.sortIndex; };
    default:
        return {};
    }
}

}

void addDateToFileName(AbstractFileInfo &info, const QDate &date)
{
    const QString text = date.toString(Qt::ISODate);
    if (!info.name.isEmpty() && !text.isEmpty())
        info.name = u"[%1] %2"_s.arg(text, info.name);
}

void changeFileTitle(AbstractFileInfo &info, const QString &title)
{
    if (info.name.isEmpty())
        return;
    const qsizetype dot = info.name.lastIndexOf(u'.');
    const bool hasExtension = dot > 0 && dot + 1 < info.name.size();
    info.name = hasExtension ? title + info.name.sliced(dot) : title;
}

Comparison abstractDownloadsPeristentInfoCompFunction(AbstractDownloadPersistentInfoSortByPlusOrder order)
{
    Comparison compare = ascending(order.sortBy);
    if (!compare || order.order == 0)
        return compare;
    return [compare = std::move(compare)](const Record &a, const Record &b) { return compare(b, a); };
}

QString MyQtSysInfo::productVersion()
{
    return QSysInfo::productVersion();
}
