// SPDX-License-Identifier: Apache-2.0
// store_writer.h -- the writer under the name that providers use.
#ifndef OBJMGRD_STORE_WRITER_H
#define OBJMGRD_STORE_WRITER_H

#include "objmgrd/image_writer.h"

#endif
