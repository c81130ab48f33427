// commands.h - every public header of the commands module: the command language, the command
// server and the bridge that serves a Python script's commands.
#ifndef KX_COMMANDS_H
#define KX_COMMANDS_H

#include "kx/commands/command_line.h"
#include "kx/commands/kxcmdserver.h"
#include "kx/commands/kxscriptserver.h"

#endif
