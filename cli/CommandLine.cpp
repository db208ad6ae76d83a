#include "CommandLine.h"

#include "library/BlockingWait.h"

#include "facade/Library.h"
#include "library/LibraryLock.h"
#include "library/Settings.h"

#include <QCoreApplication>

#include <algorithm>

using namespace Qt::StringLiterals;

int Invocation::fail(const QString& sentence)
{
    m_err << sentence << Qt::endl;
    return exitFailure;
}

namespace {

const QString replaceUnreadableOption = u"replace-unreadable"_s;

} // namespace

CommandLine::CommandLine(QString program, QString description, QString version)
    : m_program(std::move(program))
    , m_description(std::move(description))
    , m_version(std::move(version))
{
}

void CommandLine::addGroup(const QString& name, const QString& summary)
{
    m_groups.append({name, summary});
}

void CommandLine::add(Command command)
{
    m_commands.append(std::move(command));
}

QString CommandLine::usageLine(const Command& command) const
{
    QString line = m_program + u' ' + command.path.join(u' ');
    if (!command.arguments.isEmpty())
        line += u' ' + command.arguments;
    for (const QCommandLineOption& option : command.options) {
        const QString name = u"--"_s + option.names().constLast();
        const QString value = option.valueName().isEmpty() ? QString() : u' ' + option.valueName();
        line += u" ["_s + name + value + u']';
    }
    if (command.hasJsonOutput)
        line += u" [--json]"_s;
    if (command.access == Command::Access::changesLibrary && command.opensLibrary)
        line += u" [--"_s + replaceUnreadableOption + u']';
    return line;
}

void CommandLine::printOverview(QTextStream& stream, const QString& group) const
{
    if (group.isEmpty())
        stream << m_description << u"\n\nUsage: "_s << m_program << u" <command> [arguments] [options]\n"_s;
    for (const Group& g : m_groups) {
        if (!group.isEmpty() && g.name != group)
            continue;
        stream << u'\n' << g.summary << u":\n"_s;
        for (const Command& command : m_commands) {
            if (command.path.constFirst() == g.name)
                stream << u"  "_s << usageLine(command) << u"\n      "_s << command.summary << u'\n';
        }
    }
    stream << u"\nEvery command takes --help; --version prints the version.\n"_s;
    stream.flush();
}

void CommandLine::printCommandHelp(QTextStream& stream, const Command& command) const
{
    stream << u"Usage: "_s << usageLine(command) << u"\n\n"_s << command.summary << u'\n';
    if (!command.options.isEmpty() || command.hasJsonOutput) {
        stream << u"\nOptions:\n"_s;
        for (const QCommandLineOption& option : command.options)
            stream << u"  --"_s << option.names().constLast() << u"  "_s << option.description() << u'\n';
        if (command.hasJsonOutput)
            stream << u"  --json  Print the result as JSON, with the field names of the stores\n"_s;
    }
    if (command.access == Command::Access::changesLibrary && command.opensLibrary) {
        stream << u"  --"_s << replaceUnreadableOption
               << u"  Go on although a store it changes could not be read; that store is then replaced\n"_s;
    }
    stream.flush();
}

int CommandLine::run(const QStringList& arguments, QTextStream& out, QTextStream& err)
{
    const auto isHelp = [](const QString& a) { return a == u"--help" || a == u"-h"; };

    // The longest command path that the arguments begin with.
    const Command* match = nullptr;
    for (const Command& command : m_commands) {
        const qsizetype depth = command.path.size();
        if (arguments.size() >= depth && arguments.mid(0, depth) == command.path
            && (!match || depth > match->path.size()))
            match = &command;
    }

    if (!match) {
        if (arguments.size() == 1 && arguments.constFirst() == u"--version") {
            out << m_program << u' ' << m_version << Qt::endl;
            return exitSuccess;
        }
        if (arguments.isEmpty() || isHelp(arguments.constFirst())) {
            printOverview(arguments.isEmpty() ? err : out, {});
            return arguments.isEmpty() ? exitUsage : exitSuccess;
        }
        const QString& first = arguments.constFirst();
        const bool isGroup = std::any_of(m_groups.cbegin(), m_groups.cend(),
                                         [&](const Group& g) { return g.name == first; });
        if (isGroup && (arguments.size() == 1 || isHelp(arguments.at(1)))) {
            printOverview(arguments.size() == 1 ? err : out, first);
            return arguments.size() == 1 ? exitUsage : exitSuccess;
        }
        err << m_program << u": unknown command \""_s << arguments.join(u' ') << u"\". Run \""_s << m_program
            << u" --help\" for the list of commands."_s << Qt::endl;
        return exitUsage;
    }

    const QStringList rest = arguments.mid(match->path.size());
    if (std::any_of(rest.cbegin(), rest.cend(), isHelp)) {
        printCommandHelp(out, *match);
        return exitSuccess;
    }
    return BlockingWait::wait(execute(*match, rest, out, err));
}

QCoro::Task<int> CommandLine::execute(const Command& command, const QStringList& arguments, QTextStream& out,
                                      QTextStream& err)
{
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOptions(command.options);
    if (command.hasJsonOutput)
        parser.addOption(QCommandLineOption(u"json"_s));
    if (command.access == Command::Access::changesLibrary && command.opensLibrary)
        parser.addOption(QCommandLineOption(replaceUnreadableOption));
    const auto usageError = [&](const QString& problem) {
        err << m_program << u": "_s << problem << u"\nUsage: "_s << usageLine(command) << Qt::endl;
        return int(exitUsage);
    };
    if (!parser.parse(QStringList{m_program} + arguments))
        co_return usageError(parser.errorText());
    const qsizetype count = parser.positionalArguments().size();
    if (count < command.minimumArguments)
        co_return usageError(u"missing arguments"_s);
    if (count > command.maximumArguments)
        co_return usageError(u"too many arguments"_s);

    LibraryLock lock;
    if (command.access == Command::Access::changesLibrary) {
        if (const auto refusal = lock.acquire()) {
            err << *refusal << Qt::endl;
            co_return int(exitFailure);
        }
    }
    std::unique_ptr<Library> library;
    if (command.access != Command::Access::none && command.opensLibrary) {
        const auto root = Settings::libraryRootURL();
        if (!root || !Settings::value(Settings::isOnboarded)) {
            err << u"No library has been set up yet. Run \""_s << m_program
                << u" library init PATH\" to choose the music folder."_s << Qt::endl;
            co_return int(exitFailure);
        }
        library = std::make_unique<Library>(*root);
        const bool replaceUnreadable =
            command.access == Command::Access::changesLibrary && parser.isSet(replaceUnreadableOption);
        if (!admitsStores(command, *library, replaceUnreadable, err))
            co_return int(exitFailure);
    }
    Invocation invocation(parser, out, err, library.get());
    int status = exitFailure;
    // Every error of the core carries the sentence the user reads.
    try {
        status = co_await command.run(invocation);
    } catch (const std::exception& error) {
        err << m_program << u": "_s << QString::fromUtf8(error.what()) << Qt::endl;
    }
    // A command that did its work but could not save it has failed: say so, whatever it printed.
    if (library) {
        library->flush();
        for (const QString& failure : library->saveFailures()) {
            err << m_program << u": "_s << failure << u" The file holds what it held before this command."_s
                << Qt::endl;
            status = exitFailure;
        }
    }
    out.flush();
    err.flush();
    co_return status;
}

bool CommandLine::admitsStores(const Command& command, const Library& library, bool replaceUnreadable,
                               QTextStream& err) const
{
    bool admitted = true;
    for (const Library::UnreadableStore& store : library.unreadableStores()) {
        const bool written = command.access == Command::Access::changesLibrary
                          && (command.writes.isEmpty() || command.writes.contains(store.kind));
        err << m_program << u": warning: the store "_s << store.path
            << u" could not be read, so its contents count as empty here. \""_s << m_program
            << u" library check\" tells why."_s << Qt::endl;
        if (written && !replaceUnreadable) {
            err << m_program << u": this command would replace that store and lose what it holds; nothing was done. "
                                "Mend or move the file first, or run the command again with --"_s
                << replaceUnreadableOption << u" to start that store afresh."_s << Qt::endl;
            admitted = false;
        }
    }
    for (const Library::RepeatedIDs& store : library.storesWithRepeatedIDs()) {
        err << m_program << u": warning: the store "_s << store.path << u" holds more than one record with the id "_s
            << store.ids.join(u", "_s) << u"; the first record of each counts here and the others are left out."_s
            << Qt::endl;
    }
    return admitted;
}
