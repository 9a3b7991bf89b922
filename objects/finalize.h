// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Finalization: an object's own final procedure, then its components, then its parent.
#ifndef TAMRUN_OBJECTS_FINALIZE_H
#define TAMRUN_OBJECTS_FINALIZE_H

#include "tamrun/descriptor.h"

/// Finalizes the object of a pair. An object that is not defined is left alone.
TAMRUN_ENTRY void for_finalize(For_Dope_Vector* x, void* p);

#endif
