// What coupons and non-fiscal receipts have in common: items, surcharges and discounts, payments, closing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "printer/printer.h"

namespace printer {

/// The place in which a tax text counts ("FF", "01", "1800", "18,00"): `place` is set on kOk; else kBadArgument or
/// kNotProgrammed.
int findTax(const State& state, std::string_view text, int& place);

/// A surcharge or discount: `kind` "$" or "V" value, "%" or "P" percentage, of `base`. An empty amount is 0.
std::optional<Cents> adjustment(const Printer& printer, std::string_view kind, std::string_view amount, Cents base);

/// kOk when a document of `kind` is open in `phase`.
int inPhase(const Printer& printer, Kind kind, Phase phase);

/// Adds an item to the open document and prints it.
int addItem(Printer& printer, Item item);
/// The item with this number (from 1) unless cancelled; null otherwise.
Item* findItem(Printer& printer, std::string_view number);
int cancelItem(Printer& printer, Kind kind, std::string_view number);
int adjustItem(Printer& printer, Kind kind, std::string_view number, std::string_view way, std::string_view how,
               std::string_view amount);

/// Goes to the totalling phase and prints the subtotal; nothing happens when it is there already.
int startTotalling(Printer& printer, Kind kind);
/// Surcharge ("A") or discount ("D") on the subtotal.
int adjustSubtotal(Printer& printer, Kind kind, std::string_view way, std::string_view how, std::string_view amount);
/// Prints the total and goes to the payments.
int total(Printer& printer, Kind kind);
int pay(Printer& printer, std::string_view form, std::string_view amount, int instalments, std::string_view text);
/// Closes the paid document with a message.
int close(Printer& printer, Kind kind, std::string_view message);
/// Cancels the open document of this kind.
int cancelOpen(Printer& printer, Kind kind);
void setCustomer(Printer& printer, Arguments& arguments, std::size_t first);
void printCustomer(Printer& printer);
/// Pays what is missing in the first payment form and closes; cancels a coupon without items.
void finishOpenCoupon(Printer& printer);

/// Counts a coupon's items into the day (`sign` 1) or takes a closed one out again (-1).
void countCoupon(State& state, const Document& coupon, int sign);
/// Share of each tax place in the coupon's total.
std::vector<Cents> taxShares(const Document& coupon);

}  // namespace printer
