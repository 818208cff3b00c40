#include "qrixPDataFormater.h"

namespace {

// The shortest record on the wire: three empty strings (string tag, array
// tag, count) and a tagged number.
const unsigned long MIN_RECORD_BYTES = 3 * 6 + 5;

// Whether at least n (>= 2) bytes lie behind the reader's position. The
// reader does not tell its size, so a plain read of the last two of those
// bytes answers; the position is put back.
bool holdsBytes(PDataReader& r, unsigned long n)
{
    const unsigned long at = r.getOffset();
    if (n > ~0UL - at)
        return false;
    r.setOffset(at + n - 2);
    unsigned short probe = 0;
    bool holds = r.getWord(probe) == PRES_OK;
    r.setOffset(at);
    return holds;
}

// Room for count more records, so that the vector does not copy every record
// each time it grows; only when the data can hold them, so a forged count
// reserves nothing, and geometrically, so that many small arrays read into
// one vector stay linear.
void reserveRecords(PDataReader& r, std::vector<PTargetInfo>& list, unsigned int count)
{
    if (count == 0 || list.capacity() - list.size() >= count)
        return;
    if (!holdsBytes(r, (unsigned long)count * MIN_RECORD_BYTES))
        return;
    const unsigned long wanted = list.size() + count;
    list.reserve(wanted > 2 * list.capacity() ? wanted : 2 * list.capacity());
}

} // namespace

PDataFormaterUtils::~PDataFormaterUtils() = default;

int PDataFormaterUtils::writePTargetID(PDataWriter& w, const PTargetID& id)
{
    int res = w.writeString(id.iIdText);
    if (res != PRES_OK)
        return res;
    w.writeData(id.iIdNumber);
    return PRES_OK;
}

int PDataFormaterUtils::readPTargetID(PDataReader& r, PTargetID& id)
{
    int res = r.readString(id.iIdText);
    if (res != PRES_OK)
        return res;
    return r.readData(id.iIdNumber);
}

int PDataFormaterUtils::writePAddress(PDataWriter& w, const PAddress& address)
{
    int res = w.writeString(address.iFirst);
    if (res != PRES_OK)
        return res;
    return w.writeString(address.iSecond);
}

int PDataFormaterUtils::readPAddress(PDataReader& r, PAddress& address)
{
    int res = r.readString(address.iFirst);
    if (res != PRES_OK)
        return res;
    return r.readString(address.iSecond);
}

int PDataFormaterUtils::writePTargetInfo(PDataWriter& w, const PTargetInfo& info)
{
    int res = writePTargetID(w, info.iTargetID);
    if (res != PRES_OK)
        return res;
    return writePAddress(w, info.iAddress);
}

int PDataFormaterUtils::readPTargetInfo(PDataReader& r, PTargetInfo& info)
{
    int res = readPTargetID(r, info.iTargetID);
    if (res != PRES_OK)
        return res;
    return readPAddress(r, info.iAddress);
}

int PDataFormaterUtils::writePTargetInfoArray(PDataWriter& w, const std::vector<PTargetInfo>& list)
{
    w.writeData((unsigned int)list.size());
    for (const PTargetInfo& info : list) {
        int res = writePTargetInfo(w, info);
        if (res != PRES_OK)
            return res;
    }
    return PRES_OK;
}

// Every element read consumes data and the first failure ends the call, so a
// count larger than the data holds stops as soon as the data runs out. Each
// record is read in place at the end of the list and taken back out if it
// fails, which leaves the list as a read into a separate record would.
int PDataFormaterUtils::readPTargetInfoArray(PDataReader& r, std::vector<PTargetInfo>& list)
{
    unsigned int count = 0;
    int res = r.readData(count);
    if (res != PRES_OK)
        return res;
    reserveRecords(r, list, count);
    for (unsigned int i = 0; i < count; ++i) {
        list.emplace_back();
        res = readPTargetInfo(r, list.back());
        if (res != PRES_OK) {
            list.pop_back();
            return res;
        }
    }
    return PRES_OK;
}
