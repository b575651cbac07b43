"""What acceptance tests and scripts/run share: packages, a Wine prefix, its registry."""
