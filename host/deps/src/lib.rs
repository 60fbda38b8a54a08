//! Empty: cargo wants a target; only the dependencies of this package are used.
