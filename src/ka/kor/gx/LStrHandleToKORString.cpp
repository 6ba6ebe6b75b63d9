#include "ka/kor/gx/LStrHandleToKORString.h"

#include "ka/kor/gx/LStrHandleToKORANSIString.h"

namespace ka {
namespace kor {
namespace gx {
namespace string {

String LStrHandleToKORString(LStrHandle handle) {
    return String(LStrHandleToKORANSIString(handle));
}

}  // namespace string
}  // namespace gx
}  // namespace kor
}  // namespace ka
