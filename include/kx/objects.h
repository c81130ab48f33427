// objects.h - every public header of the objects module.
#ifndef KX_OBJECTS_H
#define KX_OBJECTS_H

#endif
