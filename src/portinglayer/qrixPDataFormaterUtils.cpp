#include "qrixPDataFormater.h"

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
// count larger than the data holds stops as soon as the data runs out.
int PDataFormaterUtils::readPTargetInfoArray(PDataReader& r, std::vector<PTargetInfo>& list)
{
    unsigned int count = 0;
    int res = r.readData(count);
    if (res != PRES_OK)
        return res;
    for (unsigned int i = 0; i < count; ++i) {
        PTargetInfo info;
        res = readPTargetInfo(r, info);
        if (res != PRES_OK)
            return res;
        list.push_back(info);
    }
    return PRES_OK;
}
