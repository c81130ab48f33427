// objects.h - every public header of the objects module.
#ifndef KX_OBJECTS_H
#define KX_OBJECTS_H

#include "kx/objects/kxchecksum.h"
#include "kx/objects/kxclassinfo.h"
#include "kx/objects/kxcommandelt.h"
#include "kx/objects/kxevent.h"
#include "kx/objects/kxmessage.h"
#include "kx/objects/kxobject.h"

#endif
