#!/usr/bin/env python3
"""Writes a network of ../multicommodity_flow as a linear program in free MPS format.

    flow_to_mps.py NETWORK > FILE.mps

The flow x_k_a of commodity k on arc a; rows m_a, the capacities, link the blocks of the rows b_k_v,
the balance of commodity k at node v.
"""
import sys


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        numbers = [[float(field) for field in line.split()] for line in file if line.strip()]
    nodes, arcs, commodities = (int(number) for number in numbers[0])
    arc_lines, commodity_lines = numbers[1 : 1 + arcs], numbers[1 + arcs : 1 + arcs + commodities]
    out = ["NAME FLOW FREE", "ROWS", " N cost"]
    out += [f" L m_{a}" for a in range(arcs)]
    out += [f" E b_{k}_{v}" for k in range(commodities) for v in range(1, nodes + 1)]
    out.append("COLUMNS")
    for k in range(commodities):
        for a, (tail, head, cost, _) in enumerate(arc_lines):
            name = f"x_{k}_{a}"
            out.append(f" {name} cost {cost:.17g} m_{a} 1")
            out.append(f" {name} b_{k}_{int(tail)} 1 b_{k}_{int(head)} -1")
    out.append("RHS")
    out += [f" rhs m_{a} {line[3]:.17g}" for a, line in enumerate(arc_lines)]
    for k, (origin, destination, demand) in enumerate(commodity_lines):
        out.append(f" rhs b_{k}_{int(origin)} {demand:.17g} b_{k}_{int(destination)} {-demand:.17g}")
    print("\n".join(out + ["ENDATA"]))


main()
