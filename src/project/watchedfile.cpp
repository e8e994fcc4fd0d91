#include "project/watchedfile.h"

qint64 WatchedFile::readData(char* data, qint64 maxSize)
{
    m_steps.fetch_add(1, std::memory_order_relaxed);
    const qint64 size = QFile::readData(data, maxSize);
    m_steps.fetch_add(1, std::memory_order_relaxed);
    return size;
}
