plexa_platform_part(utils)
