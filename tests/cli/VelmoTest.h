#pragma once

#include "VelmoCommands.h"
#include "support/TestEnvironment.h"

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <gtest/gtest.h>

struct VelmoResult {
    int status;
    QString out;
    QString err;
};

// velmo run in this process, with its two streams caught.
inline VelmoResult runVelmo(const QStringList& arguments)
{
    QString out;
    QString err;
    QTextStream outStream(&out);
    QTextStream errStream(&err);
    const int status = velmoCommands().run(arguments, outStream, errStream);
    return {status, out, err};
}

// Runs velmo with its own stores and settings for each test.
class VelmoTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { TestEnvironment::clearSettings(); }

    VelmoResult velmo(const QStringList& arguments) { return runVelmo(arguments); }

    QString root() const { return stores.folder() + QStringLiteral("/Music"); }
    void initLibrary() { ASSERT_EQ(velmo({QStringLiteral("library"), QStringLiteral("init"), root()}).status, 0); }

    TemporaryStores stores;
};
