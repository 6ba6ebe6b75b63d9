// The attribute record an item's subscribers receive, built once per item and shared.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ka/kor/fd.h"
#include "vesta/VestaRealTime.h"

namespace vesta {

// Type, description and access rights present; the description in UTF-8, cut at a character
// boundary to fit with its terminator.
std::shared_ptr<const ITEMDETAILS> MakeItemDetails(ka::kor::fd::FlexType type,
                                                   std::uint32_t accessRights,
                                                   const std::wstring& description);

}  // namespace vesta
