#pragma once

#include "library/StoreLocations.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoro/QCoroTask>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>
#include <memory>

class Library;

enum ExitStatus { exitSuccess = 0, exitFailure = 1, exitUsage = 2 };

// What a command is given when it runs: its options and arguments, the two output streams
// and, for commands that need one, the opened library.
class Invocation {
public:
    Invocation(QCommandLineParser& parser, QTextStream& out, QTextStream& err, Library* library)
        : m_parser(parser), m_out(out), m_err(err), m_library(library)
    {
    }

    QStringList arguments() const { return m_parser.positionalArguments(); }
    bool isSet(const QString& option) const { return m_parser.isSet(option); }
    QString value(const QString& option) const { return m_parser.value(option); }
    QStringList values(const QString& option) const { return m_parser.values(option); }
    bool json() const { return m_parser.isSet(QStringLiteral("json")); }

    QTextStream& out() { return m_out; }
    QTextStream& err() { return m_err; }
    Library& library() { return *m_library; }

    // Prints the error sentence and returns the failure status.
    int fail(const QString& sentence);

private:
    QCommandLineParser& m_parser;
    QTextStream& m_out;
    QTextStream& m_err;
    Library* m_library;
};

struct Command {
    enum class Access {
        none,          // touches no library: help, store inspection
        library,       // reads the library; refused when none has been chosen
        changesLibrary // also holds the lock, refused while the application runs
    };

    QStringList path;     // {"library", "init"}
    QString arguments;    // for the usage line, e.g. "PATH"
    QString summary;      // one line
    QList<QCommandLineOption> options;
    qsizetype minimumArguments = 0;
    qsizetype maximumArguments = 0;
    bool hasJsonOutput = false;
    Access access = Access::none;
    // Init does its own set-up, so it takes the lock but opens no library.
    bool opensLibrary = true;
    // The stores a changesLibrary command may write; none named means any of them. Such a
    // command refuses to run over one that could not be read, unless told to replace it.
    QList<StoreKind> writes;
    std::function<QCoro::Task<int>(Invocation&)> run;
};

// A tree of subcommands ("velmo library init PATH"), each with --help, and exit statuses
// 0, 1 and 2 for success, failure and wrong usage.
class CommandLine {
public:
    CommandLine(QString program, QString description, QString version = {});

    void addGroup(const QString& name, const QString& summary);
    void add(Command command);

    // `arguments` excludes the program name. Runs the command to completion.
    int run(const QStringList& arguments, QTextStream& out, QTextStream& err);

private:
    struct Group {
        QString name;
        QString summary;
    };

    QCoro::Task<int> execute(const Command& command, const QStringList& arguments, QTextStream& out,
                             QTextStream& err);
    QString usageLine(const Command& command) const;
    // Warns of each unreadable store, and refuses a command that would write over one.
    bool admitsStores(const Command& command, const Library& library, bool replaceUnreadable, QTextStream& err) const;
    void printOverview(QTextStream& stream, const QString& group) const;
    void printCommandHelp(QTextStream& stream, const Command& command) const;

    QString m_program;
    QString m_description;
    QString m_version;
    QList<Group> m_groups;
    QList<Command> m_commands;
};
