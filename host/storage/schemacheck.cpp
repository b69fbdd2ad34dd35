// SPDX-License-Identifier: MIT
#include <host/storage/schemacheck.h>

#include <host/storage/sqldatabase.h>

#include <QCryptographicHash>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

using SchemaCheck::Object;

/// Names in SQL know no case.
bool isSame(const QString &a, const QString &b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

/// Without remarks, which change from one program to the next, and with single spaces.
QString plain(const QString &sql)
{
    QString text;
    for (const QStringView line : QStringView(sql).split(u'\n'))
        text += line.left(line.indexOf(u"--")).toString() + u'\n';
    return text.simplified();
}

const Object *find(const QList<Object> &objects, const Object &wanted)
{
    const auto it = std::find_if(objects.cbegin(), objects.cend(), [&](const Object &object) {
        return object.type == wanted.type && isSame(object.name, wanted.name);
    });
    return it == objects.cend() ? nullptr : &*it;
}

/// A column that was added stands in the middle of the text that made the table.
QString addedText(const QString &found, const QString &expected)
{
    const qsizetype added = found.size() - expected.size();
    const auto difference = std::mismatch(expected.cbegin(), expected.cend(), found.cbegin(), found.cend());
    const qsizetype begin = std::distance(expected.cbegin(), difference.first);
    const bool isInsertion =
        added > 0 && QStringView(found).sliced(begin + added) == QStringView(expected).sliced(begin);
    return isInsertion ? found.mid(begin, added) : QString();
}

/// Whether rows without a value for what was added are as good as before.
bool demandsNothing(const QString &added)
{
    const QStringList demands{u"NOT NULL"_s, u"UNIQUE"_s, u"CHECK"_s, u"REFERENCES"_s, u"PRIMARY"_s, u"FOREIGN"_s};
    return added.contains(u',') && std::none_of(demands.cbegin(), demands.cend(), [&added](const QString &demand) {
               return added.contains(demand, Qt::CaseInsensitive);
           });
}

bool isAsExpected(const Object &found, const Object &expected)
{
    return found.sql == expected.sql
        || (found.type == "table"_L1 && demandsNothing(addedText(found.sql, expected.sql)));
}

bool isOnOneOf(const Object &object, const QList<Object> &expected)
{
    return std::any_of(expected.cbegin(), expected.cend(), [&object](const Object &ours) {
        return ours.type == "table"_L1 && isSame(ours.name, object.table);
    });
}

bool mayInterfere(const Object &object)
{
    return object.type == "trigger"_L1
        || (object.type == "index"_L1 && object.sql.startsWith("CREATE UNIQUE"_L1, Qt::CaseInsensitive));
}

}

QList<SchemaCheck::Object> SchemaCheck::objectsOf(const SqlDatabase &database, SqlError *error)
{
    SqlStatement rows = database.run(u"SELECT type, name, tbl_name, sql FROM sqlite_master"_s);
    QList<Object> objects;
    while (rows.next())
        objects.append(
            {rows.value(0).toText(), rows.value(1).toText(), rows.value(2).toText(), plain(rows.value(3).toText())});
    *error = rows.lastError();
    return error->isValid() ? QList<Object>() : objects;
}

QByteArray SchemaCheck::fingerprint(const QList<Object> &objects)
{
    QStringList lines;
    for (const Object &object : objects)
        lines.append(QStringList{object.type, object.name, object.table, object.sql}.join(u'\t'));
    lines.sort();
    return QCryptographicHash::hash(lines.join(u'\n').toUtf8(), QCryptographicHash::Sha256).toHex().first(16);
}

QList<Clause> SchemaCheck::flaws(const QList<Object> &found, const QList<Object> &expected)
{
    QList<Clause> flaws;
    for (const Object &ours : expected) {
        const Object *const object = find(found, ours);
        if (!object)
            flaws.append(Clause(Clause::Kind::ObjectMissing, {ours.type, ours.name}));
        else if (!isAsExpected(*object, ours))
            flaws.append(Clause(Clause::Kind::ObjectChanged, {ours.type, ours.name}));
    }
    for (const Object &object : found) {
        if (mayInterfere(object) && !find(expected, object) && isOnOneOf(object, expected))
            flaws.append(Clause(Clause::Kind::ObjectOfOthers, {object.type, object.name, object.table}));
    }
    return flaws;
}

QList<Clause> SchemaCheck::early(const QList<Object> &found, const QList<Object> &expected, const QList<Object> &last)
{
    QList<Clause> early;
    for (const Object &ours : last) {
        if (!ours.name.startsWith("sqlite_"_L1) && !find(expected, ours) && find(found, ours))
            early.append(Clause(Clause::Kind::ObjectTooEarly, {ours.type, ours.name}));
    }
    return early;
}
