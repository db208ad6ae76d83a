#include "SettingsCommands.h"

#include "CommandLine.h"
#include "library/NumberParsing.h"
#include "library/Settings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

// One settings key as the command line shows and sets it.
struct Setting {
    QString name;
    QString type;         // in words, with the accepted values
    QString defaultValue; // as text; empty for none
    std::function<QString()> get;
    // Stores the text, or gives the sentence that refuses it.
    std::function<std::optional<QString>(const QString&)> set;
};

Setting boolean(const Settings::Key<bool>& key)
{
    return {QString::fromLatin1(key.name), u"true or false"_s, key.defaultValue ? u"true"_s : u"false"_s,
            [key] { return Settings::value(key) ? u"true"_s : u"false"_s; },
            [key](const QString& text) -> std::optional<QString> {
                if (text != u"true" && text != u"false")
                    return u"%1 takes true or false, not “%2”."_s.arg(QString::fromLatin1(key.name), text);
                Settings::setValue(key, text == u"true");
                return std::nullopt;
            }};
}

Setting integer(const Settings::Key<qint64>& key, const QList<qint64>& allowed = {})
{
    QStringList choices;
    for (const qint64 value : allowed)
        choices.append(QString::number(value));
    const QString type = allowed.isEmpty() ? u"a whole number"_s : u"one of "_s + choices.join(u", "_s);
    return {QString::fromLatin1(key.name), type, QString::number(key.defaultValue),
            [key] { return QString::number(Settings::value(key)); },
            [key, allowed, type](const QString& text) -> std::optional<QString> {
                const std::optional<qint64> number = NumberParsing::strictInteger(text);
                if (!number || *number < 0 || (!allowed.isEmpty() && !allowed.contains(*number)))
                    return u"%1 takes %2, not “%3”."_s.arg(QString::fromLatin1(key.name), type, text);
                Settings::setValue(key, *number);
                return std::nullopt;
            }};
}

template <typename E>
Setting choice(const Settings::Key<E>& key)
{
    QStringList choices;
    for (const auto& [value, raw] : EnumRawValues<E>::values)
        choices.append(QString::fromLatin1(raw));
    const QString type = u"one of "_s + choices.join(u", "_s);
    return {QString::fromLatin1(key.name), type, rawValue(key.defaultValue), [key] { return rawValue(Settings::value(key)); },
            [key, type](const QString& text) -> std::optional<QString> {
                const std::optional<E> value = enumFromRawValue<E>(text);
                if (!value)
                    return u"%1 takes %2, not “%3”."_s.arg(QString::fromLatin1(key.name), type, text);
                Settings::setValue(key, *value);
                return std::nullopt;
            }};
}

QList<Setting> settings()
{
    return {
        boolean(Settings::isOnboarded),
        {QString::fromLatin1(Settings::libraryRootPathKey), u"a folder, chosen once"_s, {},
         [] { return Settings::libraryRootPath().value_or(QString()); },
         [](const QString&) -> std::optional<QString> {
             return u"The music folder is chosen once, with \"velmo library init\"."_s;
         }},
        boolean(Settings::copyImportedFiles),
        boolean(Settings::analyseLoudnessAfterImport),
        choice(Settings::ripStrategy),
        boolean(Settings::keepRipLog),
        boolean(Settings::verifyWithCTDB),
        boolean(Settings::analyseLoudnessAfterRipping),
        choice(Settings::defaultOutputFormat),
        integer(Settings::defaultBitrate, {128, 192, 256, 320}),
        choice(Settings::defaultFolderStructure),
        boolean(Settings::defaultSyncPlaylists),
        boolean(Settings::defaultSyncPodcasts),
        integer(Settings::transcodeCacheLimit),
        boolean(Settings::automaticallyCheckForUpdates),
        integer(Settings::lastUpdateCheck),
    };
}

std::optional<Setting> find(Invocation& invocation, const QString& name)
{
    for (const Setting& setting : settings()) {
        if (setting.name == name)
            return setting;
    }
    QStringList names;
    for (const Setting& setting : settings())
        names.append(setting.name);
    invocation.err() << u"velmo: there is no setting “%1”; the settings are %2."_s.arg(name, names.join(u", "_s))
                     << Qt::endl;
    return std::nullopt;
}

QCoro::Task<int> list(Invocation& invocation)
{
    if (invocation.json()) {
        QJsonArray rows;
        for (const Setting& setting : settings()) {
            rows.append(QJsonObject{{u"key"_s, setting.name},
                                    {u"value"_s, setting.get()},
                                    {u"type"_s, setting.type},
                                    {u"default"_s, setting.defaultValue}});
        }
        invocation.out() << QJsonDocument(rows).toJson(QJsonDocument::Indented);
        co_return int(exitSuccess);
    }
    for (const Setting& setting : settings()) {
        const QString value = setting.get();
        invocation.out() << setting.name.leftJustified(30) << (value.isEmpty() ? u"(not set)"_s : value) << u"    ("_s
                         << setting.type << (setting.defaultValue.isEmpty() ? QString() : u"; default "_s + setting.defaultValue)
                         << u")\n"_s;
    }
    invocation.out().flush();
    co_return int(exitSuccess);
}

QCoro::Task<int> get(Invocation& invocation)
{
    const std::optional<Setting> setting = find(invocation, invocation.arguments().constFirst());
    if (!setting)
        co_return int(exitUsage);
    invocation.out() << setting->get() << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> set(Invocation& invocation)
{
    const std::optional<Setting> setting = find(invocation, invocation.arguments().constFirst());
    if (!setting)
        co_return int(exitUsage);
    if (const auto refusal = setting->set(invocation.arguments().at(1)))
        co_return invocation.fail(*refusal);
    invocation.out() << setting->name << u" = "_s << setting->get() << Qt::endl;
    co_return int(exitSuccess);
}

} // namespace

void addSettingsCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"settings"_s, u"Preferences"_s);
    commandLine.add({.path = {u"settings"_s, u"list"_s},
                     .summary = u"Every setting with its value, type and default."_s,
                     .hasJsonOutput = true,
                     .run = list});
    commandLine.add({.path = {u"settings"_s, u"get"_s},
                     .arguments = u"KEY"_s,
                     .summary = u"Print one setting's value."_s,
                     .minimumArguments = 1,
                     .maximumArguments = 1,
                     .run = get});
    commandLine.add({.path = {u"settings"_s, u"set"_s},
                     .arguments = u"KEY VALUE"_s,
                     .summary = u"Change one setting; a value of the wrong type is refused."_s,
                     .minimumArguments = 2,
                     .maximumArguments = 2,
                     .run = set});
}
