#include "zuv/records/metadata.h"

bool CZuvGeotagData::IsEmpty() const { return latitudeRef == 0 && longitudeRef == 0; }
