#pragma once

/// @file
/// All of qv's linear algebra: points, vectors, affine and projective matrices.

#include "base/AffineMatrix.h"
#include "base/Points.h"
#include "base/ProjMatrix.h"
#include "base/Vectors.h"
