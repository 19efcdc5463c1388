"""Faults to plant in C++ text, and the building and running that show whether the tests notice them."""
