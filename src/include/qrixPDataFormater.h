/// @file
/// The tagged, big-endian binary format and the records that components
/// exchange in it.
///
/// PDataWriter appends items to a caller's byte vector, PDataReader reads them
/// back with a moving position. Neither copies nor owns the vector, and
/// neither locks: a reader or writer and its vector belong to one thread at a
/// time. Integers are big-endian on every host. Items:
/// - plain values (append.../get...): 1, 2, 4 or 8 bytes, no tag;
/// - tagged value: 0x07, then 4 bytes;
/// - byte array: 0x85, a 4-byte count, then the bytes;
/// - string: 0x09, then a byte array of its text;
/// - string list: 0x89, a 4-byte count, then one byte array per string.
///
/// Text travels as its multibyte form in the current locale; both ends must
/// use the same one. Reads and writes print nothing.
#ifndef QRIX_PDATA_FORMATER_H
#define QRIX_PDATA_FORMATER_H

#include <vector>

#include "qrixPString.h"
#include "qrixPTime.h"
#include "qrixTypes.h"

/// A 16-bit value and its bytes, for byte-order conversion.
union QRIX_EXPORT UnionBytes16 {
    unsigned short fValue;   ///< The value.
    unsigned char fBytes[2]; ///< Its bytes in memory order.
    /// Reverses the bytes when getEndianness() is not 0, turning host order
    /// into the wire's big-endian order and back.
    void Swap();
};

/// A 32-bit value and its bytes, for byte-order conversion.
union QRIX_EXPORT UnionBytes32 {
    unsigned int fValue;     ///< The value.
    unsigned char fBytes[4]; ///< Its bytes in memory order.
    /// Reverses the bytes when getEndianness() is not 0.
    void Swap();
};

/// A 64-bit value and its bytes, for byte-order conversion.
union QRIX_EXPORT UnionBytes64 {
    unsigned long long fValue; ///< The value.
    unsigned char fBytes[8];   ///< Its bytes in memory order.
    /// Reverses the bytes when getEndianness() is not 0.
    void Swap();
};

/// A value of any integer type @p T and its bytes, for byte-order conversion.
template <class T>
union BytesX {
    T fValue;                        ///< The value.
    unsigned char fBytes[sizeof(T)]; ///< Its bytes in memory order.

    /// Reverses the bytes when getEndianness() is not 0.
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

/// The read position shared by the reader and the writer classes, and the
/// type tags.
class QRIX_EXPORT PDataFormater {
public:
    /// Position 0.
    PDataFormater();
    /// Does nothing more.
    virtual ~PDataFormater();

    /// Moves the read position, unchecked: a position past the data makes the
    /// next read fail with #PDATA_ERR_SHORT (-9001).
    void setOffset(unsigned long offset);
    /// The read position, in bytes from the start of the vector.
    unsigned long getOffset() const;

    /// The tag of an element type; the argument only selects the type. Only
    /// `unsigned char` (0x05) and `unsigned int` (0x07) have tags; 0x80 on a
    /// tag marks an array.
    template <class T>
    static unsigned char ID(T);

protected:
    unsigned long fOffset; ///< The read position.
};

/// The tag of a byte: 0x05.
template <>
constexpr unsigned char PDataFormater::ID<unsigned char>(unsigned char)
{
    return 0x05;
}

/// The tag of an unsigned 32-bit value: 0x07.
template <>
constexpr unsigned char PDataFormater::ID<unsigned int>(unsigned int)
{
    return 0x07;
}

/// Reads items from a caller's byte vector at a moving position.
///
/// A failed read leaves its output as it was, except where said; the position
/// keeps what the read consumed before failing.
class QRIX_EXPORT PDataReader : public PDataFormater {
public:
    /// A reader at position 0 of @p data.
    /// @warning Holds a reference: @p data must outlive the reader. It may
    /// grow between reads; every check reads its current size.
    explicit PDataReader(const std::vector<unsigned char>& data);
    /// Does nothing to the vector.
    ~PDataReader() override;

    ///@{
    /// Reads a plain big-endian value of 2, 4 or 8 bytes.
    /// @returns #PRES_OK (0); #PDATA_ERR_SHORT (-9001) when fewer bytes
    /// remain, nothing consumed and @p v untouched.
    int getShort(short& v);
    int getWord(unsigned short& v);
    int getInt(int& v);
    int getDword(unsigned int& v);
    int getLong(long long& v);
    int getQword(unsigned long long& v);
    ///@}

    /// Reads a tagged value; only `readData<unsigned int>` exists.
    template <class T>
    int readData(T& v);
    /// Reads a byte array, appending to @p out; only
    /// `readDataArray<unsigned char>` exists.
    template <class T>
    int readDataArray(std::vector<T>& out);

    /// Reads a string item into @p s.
    /// @returns #PRES_OK (0), an empty array giving an empty string;
    /// #PDATA_ERR_SHORT (-9001) at the end of the data or for a short array;
    /// #PDATA_ERR_TYPE (-9002) for a wrong tag, which is consumed all the same
    /// (the position moves by one); the codes of encodeUtf8().
    int readString(PString& s);
    /// Reads a string list item, appending to @p out (not emptied first).
    ///
    /// @returns #PRES_OK (0); #PDATA_ERR_SHORT (-9001) at the end of the data
    /// and also for a list with no strings that ends exactly at the end of the
    /// data; #PDATA_ERR_TYPE (-9002) for a wrong list tag (consumed); the code
    /// of the last element read when it failed; the codes of encodeUtf8(),
    /// which end the call.
    /// @warning A damaged element is skipped and reading goes on with the next
    /// one from wherever the failure left the position; a later good element
    /// clears the earlier failure's code. Where damage must be detected, read
    /// the list item by item: the 0x89 tag, getDword() for the count, then
    /// readDataArray() and encodeUtf8() per string.
    int readStrings(std::vector<PString>& out);

    /// Converts multibyte text in the current locale to a wide string; a zero
    /// byte ends the text.
    /// @returns #PRES_OK (0); #PDATA_ERR_DECODE (-9006) for an invalid sequence
    /// or nothing converted (no bytes, or a zero byte first), @p s untouched;
    /// #PRES_NO_MEMORY (-501) when a buffer cannot be allocated.
    int encodeUtf8(const std::vector<unsigned char>& bytes, PString& s);

private:
    bool hasBytes(unsigned long n) const;
    template <class U, class V>
    int getPlain(V& v);

    const std::vector<unsigned char>& fData;
};

/// Reads a tagged unsigned 32-bit value (0x07 and 4 bytes).
/// @returns #PRES_OK (0); #PDATA_ERR_SHORT (-9001) when fewer than 5 bytes
/// remain; #PDATA_ERR_TYPE (-9002) for a wrong tag, nothing consumed.
template <>
QRIX_EXPORT int PDataReader::readData<unsigned int>(unsigned int& v);
/// Reads a byte array (0x85, count, bytes), appending the bytes to @p out.
/// @returns #PRES_OK (0); #PDATA_ERR_SHORT (-9001) when fewer than 5 bytes
/// remain, or when the count runs past the data, in which case the tag and
/// count stay consumed (the position moves by 5); #PDATA_ERR_TYPE (-9002) for
/// a wrong tag, nothing consumed.
template <>
QRIX_EXPORT int PDataReader::readDataArray<unsigned char>(std::vector<unsigned char>& out);

/// Appends items at the end of a caller's byte vector.
///
/// The plain and tagged value writes cannot fail short of the vector's own
/// `std::bad_alloc`; the string writes return a code.
class QRIX_EXPORT PDataWriter : public PDataFormater {
public:
    /// A writer that appends to @p data.
    /// @warning Holds a reference: @p data must outlive the writer.
    explicit PDataWriter(std::vector<unsigned char>& data);
    /// Does nothing to the vector.
    ~PDataWriter() override;

    ///@{
    /// Appends a plain value: one byte as it is, or 2, 4 or 8 bytes big-endian.
    void appendByte(unsigned char v);
    void appendShort(short v);
    void appendWord(unsigned short v);
    void appendInt(int v);
    void appendDword(unsigned int v);
    void appendLong(long long v);
    void appendQword(unsigned long long v);
    ///@}

    /// Appends a tagged value; only `writeData<unsigned int>` exists.
    template <class T>
    void writeData(T v);
    /// Appends a byte array; only `writeDataArray<unsigned char>` exists.
    template <class T>
    void writeDataArray(const std::vector<T>& items);

    /// Appends a string item: 0x09 and the byte array of decodeUtf8().
    /// @returns #PRES_OK (0); the codes of decodeUtf8(), with nothing appended.
    /// @warning Non-ASCII text is cut or padded; see decodeUtf8().
    int writeString(const PString& s);
    /// Appends a string list item.
    /// @returns #PRES_OK (0); the code of the first string that decodeUtf8()
    /// refuses, which ends the call.
    /// @warning A failure leaves the tag, the count and the earlier strings in
    /// the vector: a damaged list. Write into a scratch vector and append it to
    /// the real one on success.
    int writeStrings(const std::vector<PString>& list);

    /// Converts a wide string to its multibyte form in the current locale and
    /// appends exactly `s.len()` bytes of it to @p out.
    ///
    /// @returns #PRES_OK (0); #PDATA_ERR_ENCODE (-9005) for an empty string or
    /// a character the locale cannot represent, @p out untouched;
    /// #PRES_NO_MEMORY (-501) when the buffer cannot be allocated or its size
    /// would wrap.
    /// @warning Text is carried exactly only while every character takes one
    /// byte: longer multibyte text is cut to `s.len()` bytes at a character
    /// boundary, and the rest filled with zero bytes, which the reader takes as
    /// the end. Keep strings you exchange in ASCII, or in a single-byte locale.
    int decodeUtf8(const PString& s, std::vector<unsigned char>& out);

    /// Empties the whole vector, including what others appended; the position
    /// is left as it is.
    void eraseData();

private:
    template <class U, class V>
    void appendPlain(V v);

    std::vector<unsigned char>& fData;
};

/// Appends a tagged unsigned 32-bit value: 0x07 and 4 bytes.
template <>
QRIX_EXPORT void PDataWriter::writeData<unsigned int>(unsigned int v);
/// Appends a byte array: 0x85, the size as a 4-byte count, then the bytes.
/// @note The count holds 32 bits: keep arrays below 4 GiB.
template <>
QRIX_EXPORT void PDataWriter::writeDataArray<unsigned char>(const std::vector<unsigned char>& items);

/// A target's identifier: encoded as the string, then the tagged number.
struct QRIX_EXPORT PTargetID {
    PString iIdText;        ///< The identifier's text.
    unsigned int iIdNumber; ///< The identifier's number; left unset by default construction.
};

/// A target's address: encoded as the two strings in order.
struct QRIX_EXPORT PAddress {
    PString iFirst;  ///< The first part of the address.
    PString iSecond; ///< The second part of the address.
};

/// A target description: encoded as the identifier, then the address.
struct QRIX_EXPORT PTargetInfo {
    PTargetID iTargetID; ///< The identifier.
    PAddress iAddress;   ///< The address.
};

/// Writes and reads the target records with PDataWriter and PDataReader.
///
/// Every operation stops at the first failing item and returns its code:
/// #PDATA_ERR_SHORT (-9001), #PDATA_ERR_TYPE (-9002) and #PDATA_ERR_DECODE
/// (-9006) when reading, #PDATA_ERR_ENCODE (-9005) when writing, and
/// #PRES_NO_MEMORY (-501); #PRES_OK (0) otherwise. What was written or read
/// before the failure stays: bytes in the vector, fields in the record.
class QRIX_EXPORT PDataFormaterUtils {
public:
    /// Does nothing more.
    virtual ~PDataFormaterUtils();

    ///@{
    /// Writes or reads one record; see the class for the codes.
    int writePTargetID(PDataWriter& w, const PTargetID& id);
    int readPTargetID(PDataReader& r, PTargetID& id);
    int writePAddress(PDataWriter& w, const PAddress& address);
    int readPAddress(PDataReader& r, PAddress& address);
    int writePTargetInfo(PDataWriter& w, const PTargetInfo& info);
    int readPTargetInfo(PDataReader& r, PTargetInfo& info);
    ///@}
    /// Writes the element count as a tagged value, then each element.
    int writePTargetInfoArray(PDataWriter& w, const std::vector<PTargetInfo>& list);
    /// Reads a tagged count and that many elements, appending each to @p list
    /// (not emptied first); elements read before a failure stay appended.
    int readPTargetInfoArray(PDataReader& r, std::vector<PTargetInfo>& list);
};

#endif // QRIX_PDATA_FORMATER_H
