"""Random choices that are the same on every machine and version of Python."""

import math
import random


class Draw:
    """Choices from one seed. All of them rest on Random.random, whose sequence Python guarantees."""

    def __init__(self, seed):
        self._source = random.Random(str(seed))

    def uniform(self, low=0.0, high=1.0):
        return low + (high - low) * self._source.random()

    def logarithmic(self, low, high):
        return math.exp(self.uniform(math.log(low), math.log(high)))

    def integer(self, low, high):
        """A whole number from low to high, both included."""
        return low + int(self._source.random() * (high - low + 1))

    def chance(self, probability):
        return self._source.random() < probability

    def pick(self, things):
        return things[int(self._source.random() * len(things))]

    def normal(self, deviation=1.0):
        radius = math.sqrt(-2.0 * math.log(1.0 - self._source.random()))
        return deviation * radius * math.cos(2.0 * math.pi * self._source.random())

    def shuffled(self, things):
        things = list(things)
        for last in range(len(things) - 1, 0, -1):
            other = self.integer(0, last)
            things[last], things[other] = things[other], things[last]
        return things
