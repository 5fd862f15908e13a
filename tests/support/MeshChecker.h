#pragma once
// An independent judge of the engine's meshes, written against the public API only: every sign
// it relies on is exact (the oracle of ExactOracle.h), and every query has a brute-force
// counterpart that scans the whole tetrahedron list.
#include <array>
#include <vector>

#include <gtest/gtest.h>

#include <Vesk_3D.h>

#include "InputFamilies.h"

namespace VeskTest {

using Tets = std::vector<VESK3D::Tet3*>;

// Checks everything a Delaunay tetrahedralization of the inputs must satisfy and reports the first
// defect precisely. vMayBeHeld: registered points that the start-up rules allow to stay outside the
// tetrahedralization (the single-point path keeps them held); all other inputs must be mesh vertices.
::testing::AssertionResult checkMesh(const VESK3D::Vesk_3D& dt, const Points& vInputs, const Points& vMayBeHeld = {});

// What checkMesh reads from a triangulation; tests may also assemble one by hand.
struct MeshView {
    std::vector<VESK3D::Point3*> vVertices;
    Tets vTets;
    bool is3D;
};
::testing::AssertionResult checkTetrahedralization(const MeshView& mesh, const Points& vInputs, const Points& vMayBeHeld = {});

// Where q lies relative to the closed tetrahedron.
enum class Containment { Outside, Inside, OnFacet, OnEdge, OnVertex };
Containment classify(const VESK3D::Tet3& tet, const VESK3D::Point3& q);
// True when q lies on a facet of tet that has no neighbour (the closed facet, edges and corners included).
bool onHullFacetOf(const VESK3D::Tet3& tet, const VESK3D::Point3& q);

// getTetrahedra, asked only in the full-dimensional state (before it, it prints a line and returns nothing).
Tets allTetrahedra(const VESK3D::Vesk_3D& dt);
std::vector<VESK3D::Point3*> allVertices(const VESK3D::Vesk_3D& dt);
// The tetrahedra whose closure contains q.
Tets bruteForceLocate(const Tets& vTets, const VESK3D::Point3& q);
// Whether dt.locate(q) answers as brute force over vTets (the mesh's tetrahedra) says it must: a
// tetrahedron having q as a corner, one containing q, or null outside or on the hull boundary.
::testing::AssertionResult locateAgrees(VESK3D::Vesk_3D& dt, const Tets& vTets, const VESK3D::Point3& q);
// Whether dt.getTetsAroundVertex(pVtx) lists the tetrahedra having pVtx as a corner once each, the vertex's own tetrahedron first
// (nothing for a vertex held by the start-up rules).
::testing::AssertionResult starAgrees(VESK3D::Vesk_3D& dt, const Tets& vTets, VESK3D::Point3* pVtx);
// The tetrahedra having both a and b as corners (with a == b: the star of a).
Tets bruteForceEdgeRing(const Tets& vTets, const VESK3D::Point3* a, const VESK3D::Point3* b);

// Every tetrahedron as its corner coordinates in stored corner order, in listing order: equal for
// two triangulations that list the same tetrahedra the same way.
using Listing = std::vector<std::array<double, 12>>;
Listing listing(const VESK3D::Vesk_3D& dt);

} // namespace VeskTest
