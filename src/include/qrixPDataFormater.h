// The tagged, big-endian binary format: PDataWriter appends items to a
// caller's byte vector, PDataReader reads them back with a moving position.
// Neither copies nor owns the vector it works on.
#ifndef QRIX_PDATA_FORMATER_H
#define QRIX_PDATA_FORMATER_H

#include <vector>

#include "qrixPString.h"
#include "qrixPTime.h"
#include "qrixTypes.h"

// Byte-order helpers: the wire is big-endian, so Swap() reverses the bytes
// only on a host that stores the least significant byte first.
union QRIX_EXPORT UnionBytes16 {
    unsigned short fValue;
    unsigned char fBytes[2];
    void Swap();
};

union QRIX_EXPORT UnionBytes32 {
    unsigned int fValue;
    unsigned char fBytes[4];
    void Swap();
};

union QRIX_EXPORT UnionBytes64 {
    unsigned long long fValue;
    unsigned char fBytes[8];
    void Swap();
};

template <class T>
union BytesX {
    T fValue;
    unsigned char fBytes[sizeof(T)];

    void Swap()
    {
        if (!getEndianness())
            return;
        for (unsigned long i = 0; i < sizeof(T) / 2; ++i) {
            unsigned char kept = fBytes[i];
            fBytes[i] = fBytes[sizeof(T) - 1 - i];
            fBytes[sizeof(T) - 1 - i] = kept;
        }
    }
};

class QRIX_EXPORT PDataFormater {
public:
    PDataFormater();
    virtual ~PDataFormater();

    // Unchecked: a position past the data makes the next read fail.
    void setOffset(unsigned long offset);
    unsigned long getOffset() const;

    // The tag of an element type; the argument only selects the type. Only
    // unsigned char and unsigned int have tags.
    template <class T>
    static unsigned char ID(T);

protected:
    unsigned long fOffset;
};

template <>
constexpr unsigned char PDataFormater::ID<unsigned char>(unsigned char)
{
    return 0x05;
}

template <>
constexpr unsigned char PDataFormater::ID<unsigned int>(unsigned int)
{
    return 0x07;
}

class QRIX_EXPORT PDataReader : public PDataFormater {
public:
    // The vector must outlive the reader; it may grow between reads.
    explicit PDataReader(const std::vector<unsigned char>& data);
    ~PDataReader() override;

    int getShort(short& v);
    int getWord(unsigned short& v);
    int getInt(int& v);
    int getDword(unsigned int& v);
    int getLong(long long& v);
    int getQword(unsigned long long& v);

    // Tagged items; only the specialisations below exist.
    template <class T>
    int readData(T& v);
    // Appends to `out`, which is not emptied first.
    template <class T>
    int readDataArray(std::vector<T>& out);

    int readString(PString& s);
    // Appends to `out`, which is not emptied first.
    int readStrings(std::vector<PString>& out);

    // Multibyte text in the current locale to a wide string.
    int encodeUtf8(const std::vector<unsigned char>& bytes, PString& s);

private:
    bool hasBytes(unsigned long n) const;
    template <class U, class V>
    int getPlain(V& v);

    const std::vector<unsigned char>& fData;
};

template <>
QRIX_EXPORT int PDataReader::readData<unsigned int>(unsigned int& v);
template <>
QRIX_EXPORT int PDataReader::readDataArray<unsigned char>(std::vector<unsigned char>& out);

class QRIX_EXPORT PDataWriter : public PDataFormater {
public:
    // The vector must outlive the writer; items are appended at its end.
    explicit PDataWriter(std::vector<unsigned char>& data);
    ~PDataWriter() override;

    void appendByte(unsigned char v);
    void appendShort(short v);
    void appendWord(unsigned short v);
    void appendInt(int v);
    void appendDword(unsigned int v);
    void appendLong(long long v);
    void appendQword(unsigned long long v);

    // Tagged items; only the specialisations below exist.
    template <class T>
    void writeData(T v);
    template <class T>
    void writeDataArray(const std::vector<T>& items);

    int writeString(const PString& s);
    int writeStrings(const std::vector<PString>& list);

    // A wide string to multibyte text in the current locale, appended to `out`:
    // always exactly s.len() bytes, cut or zero-padded as the conversion falls.
    int decodeUtf8(const PString& s, std::vector<unsigned char>& out);

    // Empties the whole vector; the position is left as it is.
    void eraseData();

private:
    template <class U, class V>
    void appendPlain(V v);

    std::vector<unsigned char>& fData;
};

template <>
QRIX_EXPORT void PDataWriter::writeData<unsigned int>(unsigned int v);
template <>
QRIX_EXPORT void PDataWriter::writeDataArray<unsigned char>(const std::vector<unsigned char>& items);

// The records that components exchange, and their encoding.

struct QRIX_EXPORT PTargetID {
    PString iIdText;
    unsigned int iIdNumber; // left unset by default construction
};

struct QRIX_EXPORT PAddress {
    PString iFirst;
    PString iSecond;
};

struct QRIX_EXPORT PTargetInfo {
    PTargetID iTargetID;
    PAddress iAddress;
};

// Every operation returns the first failing item's code; what was written or
// read before the failure stays.
class QRIX_EXPORT PDataFormaterUtils {
public:
    virtual ~PDataFormaterUtils();

    int writePTargetID(PDataWriter& w, const PTargetID& id);
    int readPTargetID(PDataReader& r, PTargetID& id);
    int writePAddress(PDataWriter& w, const PAddress& address);
    int readPAddress(PDataReader& r, PAddress& address);
    int writePTargetInfo(PDataWriter& w, const PTargetInfo& info);
    int readPTargetInfo(PDataReader& r, PTargetInfo& info);
    // A tagged element count, then the elements.
    int writePTargetInfoArray(PDataWriter& w, const std::vector<PTargetInfo>& list);
    // Appends to `list`, which is not emptied first.
    int readPTargetInfoArray(PDataReader& r, std::vector<PTargetInfo>& list);
};

#endif // QRIX_PDATA_FORMATER_H
