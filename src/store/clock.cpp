#include "store/clock.h"

#include "python/calls.h"
#include "python/namespace.h"
#include "python/values.h"

namespace store {

namespace {

constinit python::Name kDatetime{"datetime"};
constinit python::Name kNow{"now"};
constinit python::Name kIsoformat{"isoformat"};
constinit python::Name kTimedelta{"timedelta"};
constinit python::Name kHours{"hours"};

python::Object now() { return python::call_method(python::global(kDatetime).get(), kNow); }

}  // namespace

python::Object local_timestamp() { return python::call_method(now().get(), kIsoformat); }

python::Object local_timestamp_hours_ago(PyObject* hours) {
  const python::Object present = now();
  const python::Object options = python::dict();
  python::set_item(options, kHours, hours);
  const python::Object span = python::call_with_keywords(python::global(kTimedelta).get(),
                                                         python::tuple().get(), options.get());
  const python::Object past = python::Object::take(
      python::in_interpreter([&] { return PyNumber_Subtract(present.get(), span.get()); }));
  return python::call_method(past.get(), kIsoformat);
}

}  // namespace store
