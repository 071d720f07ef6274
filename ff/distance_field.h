// Chamfer distance fields: for every free pixel of a label map the length of the shortest path of
// straight and diagonal steps to a seed, in 2-D (8 neighbours) and 3-D (26 neighbours).
//
// A label equal to `seed` marks a seed (distance 0), any other label of 0 a free pixel, every other
// label an obstacle that no path crosses. A pixel without a seed in reach, an obstacle included,
// has the distance 10000000; longer paths count as that too. Obstacles may bend a path so often
// that the fixed number of scans does not follow it to its end: distances are exact on maps without
// obstacles and upper bounds otherwise.
#pragma once

#include "ff/api.h"

namespace ff {

// Size and step weights; made and released by the functions below, used for any number of maps.
struct dist_field {
    int width, height, depth;  // depth 1 in 2-D
    int neighbors;             // 8 or 26
    int flags;                 // 1; nothing here looks at it
    unsigned short* weights;   // one a neighbour in raster order (dz, dy, dx), centre left out
};

namespace dfp_c8 {
// Neighbours (dx, dy): eight in raster order, then the same clockwise from the top.
extern DSCM_API const int PCD[16][2];
// For each entry of PCD the index of its weight in dist_field::weights.
extern DSCM_API const int PWI[16];
}  // namespace dfp_c8

// A field for w x h (x depth) maps whose straight step costs d, diagonals trunc(1.414 d) and, in
// 3-D, trunc(1.732 d); weights end at 65535. The caller releases it.
DSCM_API dist_field* ipf_create_distance_field_2d(int w, int h, unsigned short d);
DSCM_API dist_field* ipf_create_distance_field_3d(int w, int h, int depth, unsigned short d);
DSCM_API void ipf_release_distance_field(dist_field* field);  // null is ignored

// labels: in, w x h bytes, label_stride bytes a row. dist: out, dist_stride elements a row.
// nearest: out or null, (x, y) of the seed each distance was measured to, nearest_stride pairs a
// row; of a seed, an obstacle and a pixel never reached the pixel itself. Nothing may overlap.
// Returns 4294967295 always, and writes nothing for a null field, label map or distance buffer, for
// a size that is not the field's or has a side below 1, and for a 3-D field.
DSCM_API unsigned int ipf_distance_transform_2d(dist_field* df, const unsigned char* labels,
                                                unsigned short w, unsigned short h,
                                                int label_stride, unsigned char seed,
                                                unsigned int* dist, int dist_stride,
                                                unsigned short (*nearest)[2], int nearest_stride);

// The same on contiguous volumes, planes of rows, with (x, y, z) triples; needs a 3-D field.
DSCM_API unsigned int ipf_distance_transform_3d(dist_field* df, const unsigned char* labels,
                                                unsigned short w, unsigned short h,
                                                unsigned short depth, unsigned char seed,
                                                unsigned int* dist, unsigned short (*nearest)[3]);

}  // namespace ff
