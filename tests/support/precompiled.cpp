// SPDX-License-Identifier: Apache-2.0
// precompiled.cpp -- nothing of its own: the headers that every test includes are compiled with it.
