// Whether the library is being unloaded because the process is exiting. Then
// the COM objects it still holds are not released: their servers may be gone
// already, and releasing into them could crash the exit.
#pragma once

namespace kelix {

bool ProcessIsExiting();
void NoteProcessDetach(bool processExiting);

}  // namespace kelix
