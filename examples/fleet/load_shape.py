"""Phones that come and go: the user classes of locustfile.py, and how many of them there are at which time."""

from locust import LoadTestShape

from locustfile import *  # noqa: F403, the classes of the plan's kinds


class Morning(LoadTestShape):
    stages = [  # until this second, so many phones, of which so many start or end in a second
        (120, 2000, 50),
        (600, 10000, 200),
        (900, 3000, 200),
    ]

    def tick(self):
        now = self.get_run_time()
        return next(((phones, rate) for until, phones, rate in self.stages if now < until), None)
