#include "support/foldersuite.h"

#include <QDir>
#include <QTest>

QStringList FolderSuite::entries() const
{
    return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                    QDir::NoDotAndDotDot);
}

void FolderSuite::init()
{
    m_log = std::make_unique<LogCatcher>();
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

void FolderSuite::cleanup()
{
    m_folder.reset();
    m_log.reset();
}
