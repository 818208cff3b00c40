#include "qrixPDataFormater.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "qrixPPtr.h"

namespace {

// Set on a tag, marks an array of the tagged type.
// constexpr: the byte-order flag's initialiser stays the library's only one.
constexpr unsigned char TAG_ARRAY = 0x80;
constexpr unsigned char TAG_DWORD = PDataFormater::ID<unsigned int>(0);
constexpr unsigned char TAG_BYTE_ARRAY = PDataFormater::ID<unsigned char>(0) | TAG_ARRAY;
constexpr unsigned char TAG_STRING = 0x09;
constexpr unsigned char TAG_STRING_LIST = TAG_STRING | TAG_ARRAY;

// Tag byte plus the big-endian 32-bit value or count behind it.
constexpr unsigned long TAGGED_DWORD_SIZE = 5;

template <class U>
void reverseBytes(U& u)
{
    if (!getEndianness())
        return;
    const unsigned long n = sizeof(u.fBytes);
    for (unsigned long i = 0; i < n / 2; ++i) {
        unsigned char kept = u.fBytes[i];
        u.fBytes[i] = u.fBytes[n - 1 - i];
        u.fBytes[n - 1 - i] = kept;
    }
}

} // namespace

void UnionBytes16::Swap()
{
    reverseBytes(*this);
}

void UnionBytes32::Swap()
{
    reverseBytes(*this);
}

void UnionBytes64::Swap()
{
    reverseBytes(*this);
}

// ---------------------------------------------------------------------------

PDataFormater::PDataFormater() : fOffset(0)
{
}

PDataFormater::~PDataFormater() = default;

void PDataFormater::setOffset(unsigned long offset)
{
    fOffset = offset;
}

unsigned long PDataFormater::getOffset() const
{
    return fOffset;
}

// ---------------------------------------------------------------------------

PDataReader::PDataReader(const std::vector<unsigned char>& data) : fData(data)
{
}

PDataReader::~PDataReader() = default;

// Written as a subtraction so that a huge position set by setOffset cannot
// wrap around and pass the check.
bool PDataReader::hasBytes(unsigned long n) const
{
    const unsigned long size = fData.size();
    return fOffset <= size && size - fOffset >= n;
}

// U is the byte-order union of the item's width; V the caller's type of it.
template <class U, class V>
int PDataReader::getPlain(V& v)
{
    U u;
    if (!hasBytes(sizeof(u.fBytes)))
        return PDATA_ERR_SHORT;
    std::memcpy(u.fBytes, &fData[fOffset], sizeof(u.fBytes));
    u.Swap();
    fOffset += sizeof(u.fBytes);
    v = (V)u.fValue;
    return PRES_OK;
}

int PDataReader::getShort(short& v)
{
    return getPlain<UnionBytes16>(v);
}

int PDataReader::getWord(unsigned short& v)
{
    return getPlain<UnionBytes16>(v);
}

int PDataReader::getInt(int& v)
{
    return getPlain<UnionBytes32>(v);
}

int PDataReader::getDword(unsigned int& v)
{
    return getPlain<UnionBytes32>(v);
}

int PDataReader::getLong(long long& v)
{
    return getPlain<UnionBytes64>(v);
}

int PDataReader::getQword(unsigned long long& v)
{
    return getPlain<UnionBytes64>(v);
}

template <>
int PDataReader::readData<unsigned int>(unsigned int& v)
{
    if (!hasBytes(TAGGED_DWORD_SIZE))
        return PDATA_ERR_SHORT;
    if (fData[fOffset] != TAG_DWORD)
        return PDATA_ERR_TYPE;
    ++fOffset;
    return getPlain<BytesX<unsigned int>>(v);
}

template <>
int PDataReader::readDataArray<unsigned char>(std::vector<unsigned char>& out)
{
    if (!hasBytes(TAGGED_DWORD_SIZE))
        return PDATA_ERR_SHORT;
    if (fData[fOffset] != TAG_BYTE_ARRAY)
        return PDATA_ERR_TYPE;
    ++fOffset;
    unsigned int count = 0;
    getPlain<BytesX<unsigned int>>(count);
    // The header stays consumed when the count runs past the data.
    if (!hasBytes(count))
        return PDATA_ERR_SHORT;
    for (unsigned int i = 0; i < count; ++i)
        out.push_back(fData[fOffset++]);
    return PRES_OK;
}

int PDataReader::readString(PString& s)
{
    if (!hasBytes(1))
        return PDATA_ERR_SHORT;
    // The tag is consumed even when it is wrong.
    if (fData[fOffset++] != TAG_STRING)
        return PDATA_ERR_TYPE;
    std::vector<unsigned char> bytes;
    int res = readDataArray(bytes);
    if (res != PRES_OK)
        return res;
    if (bytes.empty()) {
        s.clear();
        return PRES_OK;
    }
    return encodeUtf8(bytes, s);
}

int PDataReader::readStrings(std::vector<PString>& out)
{
    if (!hasBytes(1))
        return PDATA_ERR_SHORT;
    if (fData[fOffset++] != TAG_STRING_LIST)
        return PDATA_ERR_TYPE;
    // Four bytes or fewer left: even an empty list at the very end counts as short.
    int res = hasBytes(5) ? PRES_OK : PDATA_ERR_SHORT;
    unsigned int count = 0;
    if (getDword(count) != PRES_OK)
        return PDATA_ERR_SHORT;
    for (unsigned int i = 0; i < count; ++i) {
        std::vector<unsigned char> bytes;
        const unsigned long before = fOffset;
        int elementRes = readDataArray(bytes);
        if (elementRes != PRES_OK) {
            res = elementRes;
            // A failure that consumed nothing leaves the reader as it was, so
            // every remaining element would fail the same way: stop here
            // rather than spin through a count the data cannot hold.
            if (fOffset == before)
                break;
            continue;
        }
        PString text;
        if (!bytes.empty()) {
            int convRes = encodeUtf8(bytes, text);
            if (convRes != PRES_OK)
                return convRes;
        }
        out.push_back(text);
        res = PRES_OK;
    }
    return res;
}

int PDataReader::encodeUtf8(const std::vector<unsigned char>& bytes, PString& s)
{
    const unsigned int n = (unsigned int)bytes.size();
    // A terminated copy, so the conversion cannot run past the data.
    PPtr<char> narrow(new (std::nothrow) char[(unsigned long)n + 1], PTR_ARRAY);
    if (!narrow)
        return PRES_NO_MEMORY;
    if (n > 0)
        std::memcpy(narrow.getPtr(), bytes.data(), n);
    narrow[n] = '\0';
    PPtr<wchar_t> wide(new (std::nothrow) wchar_t[(unsigned long)n + 8](), PTR_ARRAY);
    if (!wide)
        return PRES_NO_MEMORY;
    size_t converted = std::mbstowcs(wide.getPtr(), narrow.getPtr(), n);
    if (converted == 0 || converted == (size_t)-1)
        return PDATA_ERR_DECODE;
    return s.set(wide.getPtr());
}

// ---------------------------------------------------------------------------

PDataWriter::PDataWriter(std::vector<unsigned char>& data) : fData(data)
{
}

PDataWriter::~PDataWriter() = default;

template <class U, class V>
void PDataWriter::appendPlain(V v)
{
    U u;
    u.fValue = (decltype(u.fValue))v;
    u.Swap();
    for (unsigned long i = 0; i < sizeof(u.fBytes); ++i)
        fData.push_back(u.fBytes[i]);
}

void PDataWriter::appendByte(unsigned char v)
{
    fData.push_back(v);
}

void PDataWriter::appendShort(short v)
{
    appendPlain<UnionBytes16>(v);
}

void PDataWriter::appendWord(unsigned short v)
{
    appendPlain<UnionBytes16>(v);
}

void PDataWriter::appendInt(int v)
{
    appendPlain<UnionBytes32>(v);
}

void PDataWriter::appendDword(unsigned int v)
{
    appendPlain<UnionBytes32>(v);
}

void PDataWriter::appendLong(long long v)
{
    appendPlain<UnionBytes64>(v);
}

void PDataWriter::appendQword(unsigned long long v)
{
    appendPlain<UnionBytes64>(v);
}

template <>
void PDataWriter::writeData<unsigned int>(unsigned int v)
{
    fData.push_back(TAG_DWORD);
    appendPlain<BytesX<unsigned int>>(v);
}

template <>
void PDataWriter::writeDataArray<unsigned char>(const std::vector<unsigned char>& items)
{
    // Sized up front and indexed, so writing the writer's own vector is safe.
    const unsigned long size = items.size();
    fData.push_back(TAG_BYTE_ARRAY);
    appendPlain<BytesX<unsigned int>>((unsigned int)size);
    for (unsigned long i = 0; i < size; ++i)
        fData.push_back(items[i]);
}

int PDataWriter::writeString(const PString& s)
{
    std::vector<unsigned char> bytes;
    if (s.len() > 0) {
        int res = decodeUtf8(s, bytes);
        if (res != PRES_OK)
            return res;
    }
    fData.push_back(TAG_STRING);
    writeDataArray(bytes);
    return PRES_OK;
}

int PDataWriter::writeStrings(const std::vector<PString>& list)
{
    fData.push_back(TAG_STRING_LIST);
    appendDword((unsigned int)list.size());
    for (const PString& s : list) {
        std::vector<unsigned char> bytes;
        if (s.len() > 0) {
            int res = decodeUtf8(s, bytes);
            if (res != PRES_OK)
                return res;
        }
        writeDataArray(bytes);
    }
    return PRES_OK;
}

int PDataWriter::decodeUtf8(const PString& s, std::vector<unsigned char>& out)
{
    const unsigned long n = s.len();
    if (!s.ptr())
        return PDATA_ERR_ENCODE;
    PPtr<char> narrow(new (std::nothrow) char[n + 8](), PTR_ARRAY);
    if (!narrow)
        return PRES_NO_MEMORY;
    size_t converted = std::wcstombs(narrow.getPtr(), s.ptr(), n);
    if (converted == 0 || converted == (size_t)-1)
        return PDATA_ERR_ENCODE;
    // Exactly n bytes whatever the conversion produced: multibyte text is cut,
    // and the zero fill pads text that came out shorter. The format relies on it.
    for (unsigned long i = 0; i < n; ++i)
        out.push_back((unsigned char)narrow[i]);
    return PRES_OK;
}

void PDataWriter::eraseData()
{
    fData.erase(fData.begin(), fData.end());
}
