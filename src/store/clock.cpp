#include "store/clock.h"

#include "python/calls.h"
#include "python/namespace.h"

namespace store {

namespace {

constinit python::Name kDatetime{"datetime"};
constinit python::Name kNow{"now"};
constinit python::Name kIsoformat{"isoformat"};

}  // namespace

python::Object local_timestamp() {
  const python::Object now = python::call_method(python::global(kDatetime).get(), kNow);
  return python::call_method(now.get(), kIsoformat);
}

}  // namespace store
