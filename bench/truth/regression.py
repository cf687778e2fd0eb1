"""Logistic regressions with a ridge: of rows that are right or not, and of groups of rows (McFadden's form)."""

import numpy as np
from scipy.optimize import minimize


def least(loss, count):
    """Where a smooth loss, given with its slope, is least; from 0 on."""
    return minimize(loss, np.zeros(count), jac=True, method="L-BFGS-B", options={"maxiter": 2000}).x


def logistic(rows, right, ridge=0.01):
    """Weights and constant, on rows of any scale."""
    mean, spread = rows.mean(0), rows.std(0) + 1e-9
    scaled = (rows - mean) / spread

    def loss(weights):
        odds = scaled @ weights[:-1] + weights[-1]
        chance = 1.0 / (1.0 + np.exp(-odds))
        fault = (chance - right) / len(right)
        value = np.mean(np.logaddexp(0.0, odds) - right * odds) + ridge * (weights[:-1] ** 2).sum() / 2
        return value, np.append(scaled.T @ fault + ridge * weights[:-1], fault.sum())
    weights = least(loss, rows.shape[1] + 1)
    return weights[:-1] / spread, weights[-1] - (weights[:-1] * mean / spread).sum()


def conditional(groups, rights, ridge=0.002):
    """Weights of rows, of which each group has some that are right."""
    spread = np.concatenate(groups).std(0) + 1e-9
    most = max(len(group) for group in groups)
    rows, among = np.zeros((len(groups), most, len(spread))), np.zeros((len(groups), most))
    missing = np.full((len(groups), most), -np.inf)
    for index, (group, right) in enumerate(zip(groups, rights)):
        rows[index, :len(group)], among[index, :len(group)], missing[index, :len(group)] = group / spread, right, 0.0

    def loss(weights):
        scores = rows @ weights + missing
        shares = np.exp(scores - scores.max(1, keepdims=True))
        rights = shares * among
        all_shares, all_rights = shares.sum(1, keepdims=True), rights.sum(1, keepdims=True)
        slope = np.tensordot(shares / all_shares - rights / all_rights, rows, 2) / len(groups)
        return (np.log(all_shares / all_rights).mean() + ridge * (weights ** 2).sum() / 2, ridge * weights + slope)
    return least(loss, len(spread)) / spread
