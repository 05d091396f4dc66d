#include "hitachi_privatedata.h"

CHitachiPrivateData::CHitachiPrivateData(frim_objid* objectId, bool isAltNode)
    : frim_pdk_4_4::CFiPrivateData(objectId, isAltNode) {}

CHitachiPrivateData::~CHitachiPrivateData() = default;
