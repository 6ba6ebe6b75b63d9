#include "ka/kor/gx/LStrHandleToKORANSIString.h"

#include "ka/kor/gx/ConstLStrHToKORANSIString.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

AString LStrHandleToKORANSIString(LStrHandle handle) {
    return ConstLStrHToKORANSIString(handle);
}

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
