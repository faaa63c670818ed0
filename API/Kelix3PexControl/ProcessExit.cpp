#include "ProcessExit.h"

namespace kelix {
namespace {

bool processExiting = false;

}  // namespace

bool ProcessIsExiting() { return processExiting; }

void NoteProcessDetach(bool exiting) { processExiting = exiting; }

}  // namespace kelix
