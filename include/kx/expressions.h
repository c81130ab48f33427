// expressions.h - every public header of the expressions module.
#ifndef KX_EXPRESSIONS_H
#define KX_EXPRESSIONS_H

#endif
