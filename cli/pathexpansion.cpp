// SPDX-License-Identifier: MIT
#include <cli/pathexpansion.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

const QString kHome = u"HOME"_s;

/// "$", and what it stands before: another one, or a name, in braces or not.
const QRegularExpression &dollar()
{
    static const QRegularExpression expression(uR"(\$(?:(\$)|(?:\{([A-Za-z_]\w*)\})|([A-Za-z_]\w*))?)"_s);
    return expression;
}

QString nameIn(const QRegularExpressionMatch &match)
{
    return match.captured(2).isEmpty() ? match.captured(3) : match.captured(2);
}

/// An empty variable would make another path of it, and mostly the root's.
QString valueOf(const QString &name, const QProcessEnvironment &environment, QString *problem)
{
    const QString value = environment.value(name);
    if (name.isEmpty())
        *problem = u"has a \"$\" that no variable's name follows. Write \"$$\" for a dollar sign."_s;
    else if (value.isEmpty())
        *problem = u"names the variable \"%1\", which is not set. Set it, or write the path in full."_s.arg(name);
    else if (value.contains(QChar::ReplacementCharacter)) // which stands for whatever was there
        *problem = u"names the variable \"%1\", whose value is not UTF-8. Set it to another one."_s.arg(name);
    return value;
}

/// "~/x" as "$HOME/x".
QString withHome(const QString &path, QString *problem)
{
    if (!path.startsWith(u'~'))
        return path;
    if (path.size() > 1 && path.at(1) != u'/')
        *problem = u"names another person's home folder. Write the path in full."_s;
    return u'$' + kHome + path.sliced(1);
}

}

std::optional<QString> PathExpansion::expanded(const QString &path, const QProcessEnvironment &environment,
                                               QString *problem)
{
    problem->clear();
    const QString text = withHome(path, problem);
    QString result;
    qsizetype end = 0;
    for (auto matches = dollar().globalMatch(text); matches.hasNext() && problem->isEmpty();) {
        const QRegularExpressionMatch match = matches.next();
        result += text.sliced(end, match.capturedStart() - end);
        result += match.hasCaptured(1) ? u"$"_s : valueOf(nameIn(match), environment, problem);
        end = match.capturedEnd();
    }
    if (!problem->isEmpty())
        return std::nullopt;
    return result + text.sliced(end);
}

std::optional<QString> PathExpansion::inHome(const QString &path, const QProcessEnvironment &environment,
                                             QString *problem)
{
    problem->clear();
    if (path != "~"_L1 && !path.startsWith("~/"_L1))
        return path;
    const QString home = valueOf(kHome, environment, problem);
    return problem->isEmpty() ? std::optional(home + path.sliced(1)) : std::nullopt;
}

QString PathExpansion::literal(const QString &path)
{
    QString text = path;
    text.replace(u'$', "$$"_L1);
    return text.startsWith(u'~') ? u"./"_s + text : text;
}
