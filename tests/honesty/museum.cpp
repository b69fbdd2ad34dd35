// SPDX-License-Identifier: MIT
#include <tests/honesty/showing.h>

#include <QCoreApplication>
#include <QDate>
#include <QFile>
#include <QTextStream>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
using Kind = Impression::Kind;
using Impressions = QList<QList<Impression>>;

/// The file takes two seconds, and all tries of any program some more.
constexpr int kPatienceMs = 30000;

const QString kBegin = u"<!-- The run begins here; ./dev honesty --write writes it anew. -->\n"_s;
const QString kEnd = u"<!-- The run ends here. -->\n"_s;

void tell(const QString &text)
{
    QTextStream(stdout) << text << Qt::flush;
}

int fail(const QString &text)
{
    QTextStream(stderr) << u"museum: "_s << text << Qt::endl;
    return 1;
}

QString cellOf(const Impression &impression)
{
    const bool isFine = impression.kind == Kind::Right || impression.kind == Kind::Error;
    return isFine ? impression.inWords() : u"**"_s + impression.inWords() + u"**"_s;
}

QString lineOf(const QStringList &cells)
{
    return u"| "_s + cells.join(u" | "_s) + u" |\n"_s;
}

QString headOf(const QStringList &names)
{
    return lineOf(names) + u'|' + u"---|"_s.repeated(names.size()) + u'\n';
}

QString rowsInWords(const QList<Visitor> &visitors, const QList<Meeting> &meetings, const Impressions &impressions)
{
    QStringList names{u"the server"_s, u"met"_s};
    for (const Visitor &visitor : visitors)
        names.append(visitor.name);
    QString table = headOf(names);
    for (qsizetype i = 0; i < meetings.size(); ++i) {
        const Exhibit &exhibit = meetings.at(i).exhibit;
        QStringList cells{QString::fromUtf8(exhibit.name) + (exhibit.isKnowable ? u""_s : u" ¹"_s),
                          QString::fromUtf8(Exhibit::inWords(meetings.at(i).visit))};
        for (const Impression &impression : impressions.at(i))
            cells.append(cellOf(impression));
        table += lineOf(cells);
    }
    return table;
}

QString sumsInWords(const QList<Visitor> &visitors, const Impressions &impressions)
{
    QString table = headOf(
        {u"program"_s, u"right"_s, u"error"_s, u"wrong file and status 0"_s, u"hung or died"_s, u"called with"_s});
    for (qsizetype place = 0; place < visitors.size(); ++place) {
        const auto count = [&](const QList<Kind> &kinds) {
            return QString::number(std::count_if(impressions.begin(), impressions.end(),
                                                 [&](const auto &row) { return kinds.contains(row.at(place).kind); }));
        };
        table += lineOf({visitors.at(place).version(), count({Kind::Right}), count({Kind::Error, Kind::NotBegun}),
                         count({Kind::Wrong}), count({Kind::Hung, Kind::Died}),
                         u'`' + visitors.at(place).arguments.join(u' ') + u'`'});
    }
    return table;
}

QString exhibitsInWords(const QList<Exhibit> &exhibits)
{
    QString list;
    for (const Exhibit &exhibit : exhibits)
        list += u"- **%1**: %2\n"_s.arg(QString::fromUtf8(exhibit.name), QString::fromUtf8(exhibit.about));
    return list;
}

/// @return what is wrong; empty: nothing
QString writeInto(const QString &path, const QString &text)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return u"cannot write \"%1\": %2"_s.arg(path, file.errorString());
    const QString page = QString::fromUtf8(file.readAll());
    const qsizetype begin = page.indexOf(kBegin);
    const qsizetype end = page.indexOf(kEnd);
    if (begin < 0 || end < begin)
        return u"\"%1\" has no place for the run: it needs the two lines that say where it begins and ends"_s.arg(path);
    file.resize(0);
    file.seek(0);
    file.write((page.left(begin + kBegin.size()) + text + page.mid(end)).toUtf8());
    return {};
}

/// @return what plait must not do, a line each
QStringList findings(const QList<Meeting> &meetings, const Impressions &impressions)
{
    QStringList findings;
    for (qsizetype i = 0; i < meetings.size(); ++i) {
        const QString wrong = impressions.at(i).constFirst().wrongFor(meetings.at(i));
        if (!wrong.isEmpty())
            findings.append(meetings.at(i).inWords() + u": "_s + wrong);
    }
    return findings;
}

QString runInWords(const QList<Exhibit> &exhibits, const QList<Visitor> &visitors, const QList<Meeting> &meetings,
                   const Impressions &impressions)
{
    return u"\n## The run of %1\n\n"_s.arg(QDate::currentDate().toString(Qt::ISODate))
        + sumsInWords(visitors, impressions) + u'\n' + rowsInWords(visitors, meetings, impressions)
        + u"\n¹ Nothing in the answers tells. plait and aria2c are given the file's checksum; the others take none.\n\n"_s
        + u"## The servers\n\n"_s + exhibitsInWords(exhibits) + u'\n';
}
}

/// `museum [--write FILE] [WORDS]`: leads all programs to the exhibits whose names have these words.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    QString page;
    if (arguments.size() >= 2 && arguments.constFirst() == u"--write"_s) {
        page = arguments.at(1);
        arguments = arguments.mid(2);
    }
    QList<Exhibit> exhibits = Exhibit::all();
    const QByteArray words = arguments.join(u' ').toUtf8();
    exhibits.removeIf([&](const Exhibit &exhibit) { return !exhibit.name.contains(words); });
    if (exhibits.isEmpty())
        return fail(
            u"no exhibit has \"%1\" in its name; \"docs/honesty.md\" has all names"_s.arg(arguments.join(u' ')));
    const QList<Meeting> meetings = Meeting::allOf(exhibits);
    const QList<Visitor> visitors = Visitor::all();
    const Impressions impressions = Showing::leadAll(visitors, meetings, kPatienceMs);
    const QString text = runInWords(exhibits, visitors, meetings, impressions);
    if (page.isEmpty()) {
        tell(text);
    } else if (const QString wrong = writeInto(page, text); !wrong.isEmpty()) {
        return fail(wrong);
    }
    const QStringList wrong = findings(meetings, impressions);
    return wrong.isEmpty() ? 0 : fail(u"plait was wrong:\n"_s + wrong.join(u'\n'));
}
