#include "platform/DirectoryBatchReader.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/attr.h>
#include <sys/vnode.h>
#include <unistd.h>

#include <vector>

// macOS: getattrlistbulk returns the name, the object type and the data length of many entries
// in one call, the successor of the catalogue bulk read. Links are reported as links.

struct DirectoryBatchReader::Impl {
    int fd = -1;
    bool ended = false;
    int pendingCount = 0;     // entries of the last kernel call not yet handed out
    size_t pendingOffset = 0; // where the next of them starts in buffer
    std::vector<char> buffer = std::vector<char>(DirectoryBatch::kCapacity * 1024);
};

namespace {

int openFolder(int atFd, const char* path, int extraFlags) {
    return ::openat(atFd, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | extraFlags);
}

DirectoryBatchReader::OpenStatus statusFor(int fd) {
    if (fd >= 0)
        return DirectoryBatchReader::OpenStatus::Open;
    return errno == ENOTDIR ? DirectoryBatchReader::OpenStatus::NotAFolder
                            : DirectoryBatchReader::OpenStatus::Failed;
}

} // namespace

DirectoryBatchReader::DirectoryBatchReader(const QString& hostPath) : m_impl(std::make_unique<Impl>()) {
    m_impl->fd = openFolder(AT_FDCWD, QFile::encodeName(hostPath).constData(), 0);
    m_status = statusFor(m_impl->fd);
}

DirectoryBatchReader::DirectoryBatchReader(const DirectoryBatchReader& parent, const char* name)
    : m_impl(std::make_unique<Impl>()) {
    m_impl->fd = parent.m_impl->fd >= 0 ? openFolder(parent.m_impl->fd, name, O_NOFOLLOW) : -1;
    m_status = statusFor(m_impl->fd);
}

DirectoryBatchReader::~DirectoryBatchReader() {
    if (m_impl->fd >= 0)
        ::close(m_impl->fd);
}

DirectoryBatchReader::ReadResult DirectoryBatchReader::readBatch(DirectoryBatch& batch) {
    batch.count = 0;
    if (m_impl->fd < 0)
        return ReadResult::Error;

    struct attrlist request;
    std::memset(&request, 0, sizeof request);
    request.bitmapcount = ATTR_BIT_MAP_COUNT;
    request.commonattr = ATTR_CMN_RETURNED_ATTRS | ATTR_CMN_NAME | ATTR_CMN_OBJTYPE;
    request.fileattr = ATTR_FILE_DATALENGTH;

    while (batch.count < DirectoryBatch::kCapacity) {
        // One kernel call may return more entries than a batch holds; the rest wait in the
        // buffer for the next batch.
        if (m_impl->pendingCount == 0) {
            if (m_impl->ended)
                return ReadResult::NoMoreItems;
            const int got =
                ::getattrlistbulk(m_impl->fd, &request, m_impl->buffer.data(), m_impl->buffer.size(), 0);
            if (got < 0)
                return ReadResult::Error;
            if (got == 0) {
                m_impl->ended = true;
                return ReadResult::NoMoreItems;
            }
            m_impl->pendingCount = got;
            m_impl->pendingOffset = 0;
        }

        const char* entry = m_impl->buffer.data() + m_impl->pendingOffset;
        std::uint32_t length;
        std::memcpy(&length, entry, sizeof length);
        m_impl->pendingOffset += length;
        --m_impl->pendingCount;

        const char* field = entry + sizeof(std::uint32_t);
        attribute_set_t returned;
        std::memcpy(&returned, field, sizeof returned);
        field += sizeof(attribute_set_t);

        DirectoryEntry& out = batch.entries[batch.count];
        out.nameLength = 0;
        if (returned.commonattr & ATTR_CMN_NAME) {
            attrreference_t nameRef;
            std::memcpy(&nameRef, field, sizeof nameRef);
            const char* name = field + nameRef.attr_dataoffset;
            const size_t nameLength = ::strnlen(name, nameRef.attr_length);
            if (nameLength < size_t(DirectoryEntry::kNameCapacity)) {
                std::memcpy(out.name, name, nameLength);
                out.name[nameLength] = 0;
                out.nameLength = std::uint16_t(nameLength);
            }
            field += sizeof(attrreference_t);
        }
        fsobj_type_t type = VNON;
        if (returned.commonattr & ATTR_CMN_OBJTYPE) {
            std::memcpy(&type, field, sizeof type);
            field += sizeof(fsobj_type_t);
        }
        off_t dataLength = 0;
        if (returned.fileattr & ATTR_FILE_DATALENGTH)
            std::memcpy(&dataLength, field, sizeof dataLength);

        out.isDirectory = type == VDIR;
        out.isSymbolicLink = type == VLNK;
        out.dataLength = out.isDirectory ? 0 : std::uint64_t(dataLength);
        if (out.nameLength > 0)
            ++batch.count;
    }
    return ReadResult::Success;
}
