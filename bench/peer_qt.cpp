#include "peers.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

std::size_t ListWithQt(const std::string& Path)
{
    QDir dir(QString::fromStdString(Path));
    dir.setFilter(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    dir.setSorting(QDir::DirsFirst | QDir::Name | QDir::IgnoreCase);
    const QFileInfoList list = dir.entryInfoList();
    qint64 sink = 0;
    for (const QFileInfo& info : list)
    {
        sink += info.fileName().size() + (info.isDir() ? 1 : 0) + info.size();
        sink += info.lastModified().toSecsSinceEpoch();
    }
    return sink == -1 ? 0 : static_cast<std::size_t>(list.size());
}
