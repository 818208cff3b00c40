#include "qrixPDataFormater.h"

#include <cstdlib>
#include <cstring>
#include <new>

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

// Texts up to this many characters convert in buffers on the stack; records
// are mostly short texts, and a heap buffer per text would dominate.
const unsigned long STACK_TEXT = 256;

// A conversion buffer: on the stack when the text is short, else on the
// heap. Null when the heap refuses.
template <class C>
class Scratch {
public:
    explicit Scratch(unsigned long size)
        : fHeap(size > STACK_TEXT ? new (std::nothrow) C[size] : nullptr),
          fPtr(size > STACK_TEXT ? fHeap : fStack)
    {
    }
    ~Scratch() { delete[] fHeap; }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    C* get() const { return fPtr; }

private:
    C fStack[STACK_TEXT];
    C* fHeap;
    C* fPtr;
};

// Appends n bytes to out in one step. `from` is read only after out has
// grown, so it may be an index into out itself.
void appendFrom(std::vector<unsigned char>& out, const std::vector<unsigned char>& from, unsigned long start,
                unsigned long n)
{
    if (n == 0)
        return;
    const unsigned long old = out.size();
    out.resize(old + n);
    std::memcpy(out.data() + old, from.data() + start, n);
}

// Consumes a byte array item's header and its bytes, which then lie just
// before the position; count says how many. A wrong tag consumes nothing; a
// count past the data leaves the header consumed. Every bound is a
// subtraction from the size, so no position can wrap around it.
int takeArray(const std::vector<unsigned char>& data, unsigned long& offset, unsigned int& count)
{
    const unsigned long size = data.size();
    if (offset > size || size - offset < TAGGED_DWORD_SIZE)
        return PDATA_ERR_SHORT;
    const unsigned char* item = &data[offset];
    if (item[0] != TAG_BYTE_ARRAY)
        return PDATA_ERR_TYPE;
    BytesX<unsigned int> u;
    std::memcpy(u.fBytes, item + 1, sizeof(u.fBytes));
    u.Swap();
    offset += TAGGED_DWORD_SIZE;
    if (size - offset < u.fValue)
        return PDATA_ERR_SHORT;
    count = u.fValue;
    offset += count;
    return PRES_OK;
}

// Bytes to a wide string: a terminated copy, so that the conversion cannot
// run past the data, and at most n wide characters.
int bytesToString(const unsigned char* bytes, unsigned int n, PString& s)
{
    // Counted in unsigned long, so n + 8 cannot wrap for a 32-bit n.
    Scratch<char> narrow((unsigned long)n + 1);
    Scratch<wchar_t> wide((unsigned long)n + 8);
    if (!narrow.get() || !wide.get())
        return PRES_NO_MEMORY;
    if (n > 0)
        std::memcpy(narrow.get(), bytes, n);
    narrow.get()[n] = '\0';
    size_t converted = std::mbstowcs(wide.get(), narrow.get(), n);
    if (converted == 0 || converted == (size_t)-1)
        return PDATA_ERR_DECODE;
    // A zero byte ends the conversion, so the text is the converted part.
    wide.get()[converted] = L'\0';
    return s.set(wide.get(), converted);
}

// A wide string to exactly n = s.len() bytes of multibyte text appended to
// out: cut where the text is longer, padded with zero bytes where shorter.
int stringToBytes(const PString& s, std::vector<unsigned char>& out)
{
    const unsigned long n = s.len();
    if (!s.ptr())
        return PDATA_ERR_ENCODE;
    if (n + 8 < n)
        return PRES_NO_MEMORY;
    Scratch<char> narrow(n + 8);
    if (!narrow.get())
        return PRES_NO_MEMORY;
    size_t converted = std::wcstombs(narrow.get(), s.ptr(), n);
    if (converted == 0 || converted == (size_t)-1)
        return PDATA_ERR_ENCODE;
    if (converted < n)
        std::memset(narrow.get() + converted, 0, n - converted);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(narrow.get());
    out.insert(out.end(), bytes, bytes + n);
    return PRES_OK;
}

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
    unsigned int count = 0;
    int res = takeArray(fData, fOffset, count);
    if (res != PRES_OK)
        return res;
    appendFrom(out, fData, fOffset - count, count);
    return PRES_OK;
}

int PDataReader::readString(PString& s)
{
    if (!hasBytes(1))
        return PDATA_ERR_SHORT;
    // The tag is consumed even when it is wrong.
    if (fData[fOffset++] != TAG_STRING)
        return PDATA_ERR_TYPE;
    unsigned int count = 0;
    int res = takeArray(fData, fOffset, count);
    if (res != PRES_OK)
        return res;
    if (count == 0) {
        s.clear();
        return PRES_OK;
    }
    return bytesToString(&fData[fOffset - count], count, s);
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
        const unsigned long before = fOffset;
        unsigned int size = 0;
        int elementRes = takeArray(fData, fOffset, size);
        if (elementRes != PRES_OK) {
            res = elementRes;
            // A failure that consumed nothing leaves the reader as it was, so
            // every remaining element would fail the same way: stop here
            // rather than spin through a count the data cannot hold.
            if (fOffset == before)
                break;
            continue;
        }
        // Converted in place; a text that does not convert is taken back out.
        out.emplace_back();
        if (size > 0) {
            int convRes = bytesToString(&fData[fOffset - size], size, out.back());
            if (convRes != PRES_OK) {
                out.pop_back();
                return convRes;
            }
        }
        res = PRES_OK;
    }
    return res;
}

int PDataReader::encodeUtf8(const std::vector<unsigned char>& bytes, PString& s)
{
    return bytesToString(bytes.data(), (unsigned int)bytes.size(), s);
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
    fData.insert(fData.end(), u.fBytes, u.fBytes + sizeof(u.fBytes));
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
    // Sized up front and copied from by index, so that writing the writer's
    // own vector copies what it held before.
    const unsigned long size = items.size();
    fData.push_back(TAG_BYTE_ARRAY);
    appendPlain<BytesX<unsigned int>>((unsigned int)size);
    appendFrom(fData, items, 0, size);
}

// The text is converted straight behind its item header, which is taken
// back off if the conversion fails, so a failure appends nothing.
int PDataWriter::writeString(const PString& s)
{
    const unsigned long start = fData.size();
    fData.push_back(TAG_STRING);
    fData.push_back(TAG_BYTE_ARRAY);
    appendPlain<BytesX<unsigned int>>((unsigned int)s.len());
    if (s.len() > 0) {
        int res = stringToBytes(s, fData);
        if (res != PRES_OK) {
            fData.resize(start);
            return res;
        }
    }
    return PRES_OK;
}

int PDataWriter::writeStrings(const std::vector<PString>& list)
{
    fData.push_back(TAG_STRING_LIST);
    appendDword((unsigned int)list.size());
    for (const PString& s : list) {
        const unsigned long start = fData.size();
        fData.push_back(TAG_BYTE_ARRAY);
        appendPlain<BytesX<unsigned int>>((unsigned int)s.len());
        if (s.len() > 0) {
            int res = stringToBytes(s, fData);
            if (res != PRES_OK) {
                fData.resize(start);
                return res;
            }
        }
    }
    return PRES_OK;
}

int PDataWriter::decodeUtf8(const PString& s, std::vector<unsigned char>& out)
{
    return stringToBytes(s, out);
}

void PDataWriter::eraseData()
{
    fData.erase(fData.begin(), fData.end());
}
