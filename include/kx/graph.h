// graph.h - every public header of the graph module.
#ifndef KX_GRAPH_H
#define KX_GRAPH_H

#include "kx/graph/qvaxis.h"
#include "kx/graph/qvchart.h"
#include "kx/graph/qvchartnode.h"
#include "kx/graph/qvcolourmap.h"
#include "kx/graph/qvcontour.h"
#include "kx/graph/qvrender.h"

#endif
