#include "ka/kor/Timer.h"

namespace ka {
namespace kor {

osdep::CallQPC Timer::qpc_;

}  // namespace kor
}  // namespace ka
