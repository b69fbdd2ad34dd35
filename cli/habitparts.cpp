// SPDX-License-Identifier: MIT
#include <cli/habitparts.h>

#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

const QString kUser = u"--user="_s;
const QString kProxy = u"--proxy="_s;
const QString kBody = u"--post-data="_s;

QString encoded(const QString &text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

/// The last of such a beginning; null = there is none.
QString *lastOf(QStringList &options, const QString &beginning)
{
    const auto found = std::find_if(options.rbegin(), options.rend(),
                                    [&beginning](const QString &option) { return option.startsWith(beginning); });
    return found == options.rend() ? nullptr : &*found;
}

/// "name=content" has its content encoded, "=content" and "content" are that alone.
QString encodedData(const QString &value)
{
    const QString name = value.contains(u'=') ? value.section(u'=', 0, 0) : QString();
    const QString content = value.contains(u'=') ? value.section(u'=', 1) : value;
    return name.isEmpty() ? encoded(content) : name + u'=' + encoded(content);
}

QString withQuery(const QString &address, const QString &query)
{
    const QString fragment = address.contains(u'#') ? u'#' + address.section(u'#', 1) : QString();
    const QString rest = address.chopped(fragment.size());
    return rest + (rest.contains(u'?') ? u'&' : u'?') + query + fragment;
}

}

void HabitParts::add(const QString &part, const QString &name, const QString &value)
{
    const bool isData = part == "data"_L1 || part == "data-encoded"_L1 || part == "json"_L1;
    if (isData && value.startsWith(u'@') && name != "--data-raw"_L1)
        m_fileOfData = value.sliced(1);
    m_values[part].append(part == "data-encoded"_L1 ? encodedData(value) : value);
}

QString HabitParts::joinInto(QStringList &options, QStringList &addresses) const
{
    joinProgress(options);
    const QString problems[] = {joinLogin(options), joinProxy(options), joinBody(options, addresses),
                                joinMethod(options), joinOffset(options)};
    const auto problem =
        std::find_if(std::begin(problems), std::end(problems), [](const QString &text) { return !text.isEmpty(); });
    return problem == std::end(problems) ? QString() : *problem;
}

QString HabitParts::joinLogin(QStringList &options) const
{
    if (!m_values.contains(u"password"_s))
        return {};
    QString *const user = lastOf(options, kUser);
    if (!user)
        return u"there is a password, but no name. Write \"--user NAME:PASSWORD\"."_s;
    *user += u':' + m_values.value(u"password"_s).constLast();
    return {};
}

QString HabitParts::joinProxy(QStringList &options) const
{
    const QStringList logins = m_values.value(u"proxy-login"_s);
    if (logins.isEmpty() && !m_values.contains(u"proxy-password"_s))
        return {};
    QString *const proxy = lastOf(options, kProxy);
    if (!proxy || logins.isEmpty())
        return u"a login of a proxy stands in its address. Write \"--proxy NAME:PASSWORD@HOST:PORT\"."_s;
    QString login = encoded(logins.constLast().section(u':', 0, 0));
    const QString password = logins.constLast().contains(u':') ? logins.constLast().section(u':', 1)
                                                               : m_values.value(u"proxy-password"_s).value(0);
    login += password.isEmpty() ? QString() : u':' + encoded(password);
    const qsizetype slashes = proxy->indexOf("://"_L1);
    proxy->insert(slashes < 0 ? kProxy.size() : slashes + 3, login + u'@');
    return {};
}

QStringList HabitParts::queries() const
{
    QStringList queries = m_values.value(u"query"_s);
    if (m_values.contains(u"get"_s))
        queries += m_values.value(u"data"_s) + m_values.value(u"data-encoded"_s);
    return queries;
}

QString HabitParts::joinBody(QStringList &options, QStringList &addresses) const
{
    if (!m_fileOfData.isEmpty())
        return u"a body is not read from the file \"%1\". Write it as \"--post-data DATA\"."_s.arg(m_fileOfData);
    const QStringList queries = this->queries();
    for (QString &address : addresses)
        address = queries.isEmpty() ? address : withQuery(address, queries.join(u'&'));
    const QStringList data = m_values.value(u"data"_s) + m_values.value(u"data-encoded"_s);
    if (m_values.contains(u"json"_s)) {
        options += {u"--header=Content-Type: application/json"_s, u"--header=Accept: application/json"_s,
                    kBody + m_values.value(u"json"_s).join(QString())};
    } else if (!data.isEmpty() && !m_values.contains(u"get"_s)) {
        options.append(kBody + data.join(u'&'));
    }
    return {};
}

QString HabitParts::joinMethod(const QStringList &options) const
{
    const QString method = m_values.value(u"method"_s).value(0).toUpper();
    const bool hasBody =
        std::any_of(options.cbegin(), options.cend(), [](const QString &option) { return option.startsWith(kBody); });
    if (method.isEmpty() || method == (hasBody ? "POST"_L1 : "GET"_L1))
        return {};
    const bool hasFolder = std::any_of(options.cbegin(), options.cend(),
                                       [](const QString &option) { return option.startsWith("--dir"_L1); });
    return u"a request \"%1\" %2 body is not sent: there are GET, and POST with \"--post-data DATA\"."_s.arg(
               method.left(20), hasBody ? u"with a"_s : u"without a"_s)
        + (!hasBody && hasFolder ? u" \"-d\" is a folder here."_s : QString());
}

/// "-q --show-progress" shows that alone. Who asked for it is not left without.
void HabitParts::joinProgress(QStringList &options) const
{
    if (m_values.contains(u"progress"_s) && options.removeAll(u"--quiet"_s) > 0)
        options.prepend(u"--progress=bar"_s);
}

/// "-" is where the file ends that is there.
QString HabitParts::joinOffset(QStringList &options) const
{
    const QString offset = m_values.value(u"offset"_s).value(0, u"-"_s);
    if (m_values.contains(u"offset"_s) && offset == "-"_L1)
        options.append(u"--continue"_s);
    return offset == "-"_L1 ? QString()
                            : u"nobody can say where to go on but what is on the disk. Leave \"-C %1\" out: what is "
                              "unfinished is gone on with by itself."_s.arg(offset.left(20));
}
