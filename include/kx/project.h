// project.h - every public header of the project module.
#ifndef KX_PROJECT_H
#define KX_PROJECT_H

#include "kx/project/kxappnotify.h"
#include "kx/project/kxcalcdiagnostics.h"
#include "kx/project/kxclipboard.h"
#include "kx/project/kxnodeobject.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxnotesnode.h"
#include "kx/project/kxproject.h"
#include "kx/project/kxprojman.h"
#include "kx/project/kxprojnode.h"
#include "kx/project/kxrunsignal.h"
#include "kx/project/kxscriptnode.h"
#include "kx/project/kxvariablesnode.h"
#include "kx/project/sfhandler.h"

#endif
