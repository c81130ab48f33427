// app.h - the headless application module: kxAppBase.
#ifndef KX_APP_H
#define KX_APP_H

#include "kx/app/kxappBase.h"
#include "kx/app/kxplugins.h"

#endif
