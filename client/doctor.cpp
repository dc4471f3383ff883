#include "client/doctor.h"
namespace veltrane {
ExitCode RunDoctor(const DoctorOptions&, Display&) { return kExitDone; }
}  // namespace veltrane
