"""How close enlarged images come to the truth; scripts/quality.sh runs it."""
