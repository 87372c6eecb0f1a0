// KVVector2f, KVVector3f: packed float pairs and triples, read straight from mesh files.
#pragma once

struct KVVector2f {
    float u;
    float v;
};

struct KVVector3f {
    float x;
    float y;
    float z;
};

// Mesh payloads are read into arrays of these in one transfer: no padding allowed.
static_assert(sizeof(KVVector2f) == 8, "KVVector2f must be two packed floats");
static_assert(sizeof(KVVector3f) == 12, "KVVector3f must be three packed floats");
